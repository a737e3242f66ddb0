// What becomes of a BMC value that a restore has read: dropped, written with its whole node at
// once, or queued for the batch. Dropping is silent and keeps a restored server reachable: its
// addresses and its first user's name are never taken from a file.
#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "common/Text.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

using Common::Contains;

/// Paths with one of these words in them are dropped on every server.
constexpr auto kNeverSetWords =
    std::to_array<std::string_view>({"SUBNETMASK", "DEFAULTGATEWAYIP", "BACKUPGATEWAYIP"});

/// Paths that a rule drops: `query` with each digit of `numbers` in its first "[]".
struct DroppedPaths {
  std::string_view query;
  std::string_view numbers = {};
};

/// How many paths a list stands for.
template <std::size_t size>
constexpr std::size_t PathCount(const std::array<DroppedPaths, size>& list) {
  std::size_t count = 0;
  for (const DroppedPaths& row : list) count += row.numbers.empty() ? 1 : row.numbers.size();
  return count;
}

/// Dropped on OSKENT and VEXHAM. LAN channel 2 is not in this list.
constexpr auto kOskentVexhamPaths = std::to_array<DroppedPaths>({
    {"/BMC/USER[]/NAME", "1"},
    {"/BMC/LAN[]/IP", "13"},
    {"/BMC/LAN/FAILOVERMODE"},
    {"/BMC/LAN[]/IPV6STATUS", "13"},
    {"/BMC/LAN[]/IPV6SOURCE", "13"},
    {"/BMC/LAN[]/IPV6PREFIXLENGTH", "13"},
    {"/BMC/LAN[]/IPV6", "13"},
    {"/BMC/LAN[]/IPV6_GATEWAYIP", "13"},
});
static_assert(PathCount(kOskentVexhamPaths) == 14);

/// Dropped on the other products while LAN fail-over is on: the channels 2 and 3 follow channel 1.
constexpr auto kFailOverPaths = std::to_array<DroppedPaths>({
    {"/BMC/LAN[]/COMMUNITYSTRING", "23"},
    {"/BMC/LAN[]/GRATUITOUSARP", "23"},
    {"/BMC/LAN[]/ARPRESPONSE", "23"},
    {"/BMC/LAN[]/ARPINTERVAL", "23"},
    {"/BMC/LAN[]/IPTYPE_STATUS", "23"},
    {"/BMC/LAN[]/IP", "23"},
    {"/BMC/LAN[]/SUBNETMASK", "23"},
    {"/BMC/LAN[]/DEFAULTGATEWAYIP", "23"},
    {"/BMC/LAN[]/DEFAULTGATEWAYMAC", "23"},
    {"/BMC/LAN[]/BACKUPGATEWAYIP", "23"},
    {"/BMC/LAN[]/BACKUPGATEWAYMAC", "23"},
    {"/BMC/LAN[]/IPV6STATUS", "23"},
    {"/BMC/LAN[]/IPV6SOURCE", "23"},
    {"/BMC/LAN[]/IPV6PREFIXLENGTH", "23"},
    {"/BMC/LAN[]/IPV6", "23"},
    {"/BMC/LAN[]/IPV6_GATEWAYIP", "23"},
    {"/BMC/SOL/CHANNEL[]/ENABLEUSER", "23"},
    {"/BMC/SOL/CHANNEL[]/PRIVILEGE", "23"},
    {"/BMC/SOL/CHANNEL[]/RETRY/COUNT", "23"},
    {"/BMC/SOL/CHANNEL[]/RETRY/INTERVAL", "23"},
});
static_assert(PathCount(kFailOverPaths) == 40);

/// Dropped on the other products in any case.
constexpr auto kCommonPaths = std::to_array<DroppedPaths>({
    {"/BMC/USER[]/NAME", "1"},
    {"/BMC/LAN[]/IP", "123"},
    {"/BMC/LAN[]/IPV6", "123"},
    {"/BMC/LAN[]/IPV6PREFIXLENGTH", "123"},
    {"/BMC/LAN[]/IPV6_GATEWAYIP", "123"},
});
static_assert(PathCount(kCommonPaths) == 13);

/// Dropped on TARVEN.
constexpr auto kTarvenPaths = std::to_array<DroppedPaths>({
    {"/BMC/USER[]/NAME", "1"},
    {"/BMC/USER[1]/CHANNEL[]/PRIVILEGE", "1234"},
    {"/BMC/LAN[]/IP", "123"},
});
static_assert(PathCount(kTarvenPaths) == 8);

bool Names(const DroppedPaths& row, std::string_view path) {
  const std::size_t slot = row.query.find("[]") + 1;
  if (slot == 0) return path == row.query;
  return path.size() == row.query.size() + 1 && path.starts_with(row.query.substr(0, slot)) &&
         path.ends_with(row.query.substr(slot)) && Contains(row.numbers, path.substr(slot, 1));
}

bool IsListed(std::span<const DroppedPaths> list, std::string_view path) {
  return std::ranges::any_of(list, [&](const DroppedPaths& row) { return Names(row, path); });
}

/// The second user but for its status. "/BMC/SOL/USER[2]/..." is another node.
bool IsSecondUser(std::string_view path) {
  return Contains(path, "/BMC/USER[2]") && !Contains(path, "STATUS");
}

bool IsDropped(std::string_view path, std::string_view product, bool lanFailOver) {
  if (std::ranges::any_of(kNeverSetWords, [&](auto word) { return Contains(path, word); })) {
    return true;
  }
  if (product == "OSKENT" || product == "VEXHAM") {
    return IsListed(kOskentVexhamPaths, path) || IsSecondUser(path);
  }
  if (lanFailOver && IsListed(kFailOverPaths, path)) return true;
  if (IsListed(kCommonPaths, path)) return true;
  if (IsPlainMailProduct(product) && IsSecondUser(path)) return true;
  return product == "TARVEN" && IsListed(kTarvenPaths, path);
}

/// The path above the last component.
std::string NodeOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

bool SaveRestore::IsNeverSet(const std::string& path) const {
  return IsDropped(path, productName, lanFailOver);
}

void SaveRestore::ExecuteSetQuery(const char* path, const char* value) {
  if (IsNeverSet(path)) return;
  if (Contains(path, "/BMC/PEF/FILTER")) {
    ExecuteSetPefFilterQuery(path, value);
  } else {
    bmcSetMap.insert_or_assign(path, value);
  }
}

/// The current settings of a node by name. An entry of the node's list that is no path keeps the
/// name of the entry before it.
std::map<std::string, std::string> SaveRestore::CurrentSettings(const std::string& node) {
  std::map<std::string, std::string> settings;
  std::string name;
  for (const std::string& path : ExecuteBaseQuery(node.c_str())) {
    const std::size_t slash = path.rfind('/');
    if (slash != std::string::npos) name = path.substr(slash + 1);
    settings[name] = ExecuteGetQuery(path.c_str());
  }
  return settings;
}

/// Writes the node that `path` is a setting of, whole, with `changes` to its settings.
void SaveRestore::RewriteNode(const std::string& path, std::map<std::string, std::string> changes) {
  const std::string node = NodeOf(path);
  changes.merge(CurrentSettings(node));  // which replace none of the new ones
  ExecuteSetMapQuery(node, std::move(changes));
}

void SaveRestore::ExecuteSetPefFilterQuery(std::string path, std::string value) {
  RewriteNode(path, {{"STATUS", std::move(value)}});
}

void SaveRestore::ExecuteSetLanAlertQuery(std::string path, std::vector<std::string> values) {
  RewriteNode(path, {{"IP", values.at(0)}, {"MAC", values.at(1)}});
}

}  // namespace SDK
