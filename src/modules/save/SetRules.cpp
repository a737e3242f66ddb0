// What becomes of a BMC value that a restore has read: dropped, written with its whole node at
// once, or queued for the batch. Dropping is silent and keeps a restored server reachable: its
// addresses and its first user's name are never taken from a file.
#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

/// Paths with one of these words in them are dropped on every server.
constexpr auto kNeverSetWords =
    std::to_array<std::string_view>({"SUBNETMASK", "DEFAULTGATEWAYIP", "BACKUPGATEWAYIP"});

/// Dropped on OSKENT and VEXHAM. LAN channel 2 is not in this list.
constexpr auto kOskentVexhamPaths = std::to_array<std::string_view>({
    "/BMC/USER[1]/NAME",
    "/BMC/LAN[1]/IP",
    "/BMC/LAN[3]/IP",
    "/BMC/LAN/FAILOVERMODE",
    "/BMC/LAN[1]/IPV6STATUS",
    "/BMC/LAN[3]/IPV6STATUS",
    "/BMC/LAN[1]/IPV6SOURCE",
    "/BMC/LAN[3]/IPV6SOURCE",
    "/BMC/LAN[1]/IPV6PREFIXLENGTH",
    "/BMC/LAN[3]/IPV6PREFIXLENGTH",
    "/BMC/LAN[1]/IPV6",
    "/BMC/LAN[3]/IPV6",
    "/BMC/LAN[1]/IPV6_GATEWAYIP",
    "/BMC/LAN[3]/IPV6_GATEWAYIP",
});
static_assert(kOskentVexhamPaths.size() == 14);

/// Dropped on the other products while LAN fail-over is on: the channels 2 and 3 follow channel 1.
constexpr auto kFailOverPaths = std::to_array<std::string_view>({
    "/BMC/LAN[2]/COMMUNITYSTRING",
    "/BMC/LAN[3]/COMMUNITYSTRING",
    "/BMC/LAN[2]/GRATUITOUSARP",
    "/BMC/LAN[3]/GRATUITOUSARP",
    "/BMC/LAN[2]/ARPRESPONSE",
    "/BMC/LAN[3]/ARPRESPONSE",
    "/BMC/LAN[2]/ARPINTERVAL",
    "/BMC/LAN[3]/ARPINTERVAL",
    "/BMC/LAN[2]/IPTYPE_STATUS",
    "/BMC/LAN[3]/IPTYPE_STATUS",
    "/BMC/LAN[2]/IP",
    "/BMC/LAN[3]/IP",
    "/BMC/LAN[2]/SUBNETMASK",
    "/BMC/LAN[3]/SUBNETMASK",
    "/BMC/LAN[2]/DEFAULTGATEWAYIP",
    "/BMC/LAN[3]/DEFAULTGATEWAYIP",
    "/BMC/LAN[2]/DEFAULTGATEWAYMAC",
    "/BMC/LAN[3]/DEFAULTGATEWAYMAC",
    "/BMC/LAN[2]/BACKUPGATEWAYIP",
    "/BMC/LAN[3]/BACKUPGATEWAYIP",
    "/BMC/LAN[2]/BACKUPGATEWAYMAC",
    "/BMC/LAN[3]/BACKUPGATEWAYMAC",
    "/BMC/LAN[2]/IPV6STATUS",
    "/BMC/LAN[3]/IPV6STATUS",
    "/BMC/LAN[2]/IPV6SOURCE",
    "/BMC/LAN[3]/IPV6SOURCE",
    "/BMC/LAN[2]/IPV6PREFIXLENGTH",
    "/BMC/LAN[3]/IPV6PREFIXLENGTH",
    "/BMC/LAN[2]/IPV6",
    "/BMC/LAN[3]/IPV6",
    "/BMC/LAN[2]/IPV6_GATEWAYIP",
    "/BMC/LAN[3]/IPV6_GATEWAYIP",
    "/BMC/SOL/CHANNEL[2]/ENABLEUSER",
    "/BMC/SOL/CHANNEL[3]/ENABLEUSER",
    "/BMC/SOL/CHANNEL[2]/PRIVILEGE",
    "/BMC/SOL/CHANNEL[3]/PRIVILEGE",
    "/BMC/SOL/CHANNEL[2]/RETRY/COUNT",
    "/BMC/SOL/CHANNEL[3]/RETRY/COUNT",
    "/BMC/SOL/CHANNEL[2]/RETRY/INTERVAL",
    "/BMC/SOL/CHANNEL[3]/RETRY/INTERVAL",
});
static_assert(kFailOverPaths.size() == 40);

/// Dropped on the other products in any case.
constexpr auto kCommonPaths = std::to_array<std::string_view>({
    "/BMC/USER[1]/NAME",
    "/BMC/LAN[1]/IP",
    "/BMC/LAN[2]/IP",
    "/BMC/LAN[3]/IP",
    "/BMC/LAN[1]/IPV6",
    "/BMC/LAN[2]/IPV6",
    "/BMC/LAN[3]/IPV6",
    "/BMC/LAN[1]/IPV6PREFIXLENGTH",
    "/BMC/LAN[2]/IPV6PREFIXLENGTH",
    "/BMC/LAN[3]/IPV6PREFIXLENGTH",
    "/BMC/LAN[1]/IPV6_GATEWAYIP",
    "/BMC/LAN[2]/IPV6_GATEWAYIP",
    "/BMC/LAN[3]/IPV6_GATEWAYIP",
});
static_assert(kCommonPaths.size() == 13);

/// Dropped on TARVEN.
constexpr auto kTarvenPaths = std::to_array<std::string_view>({
    "/BMC/USER[1]/NAME",
    "/BMC/USER[1]/CHANNEL[1]/PRIVILEGE",
    "/BMC/USER[1]/CHANNEL[2]/PRIVILEGE",
    "/BMC/USER[1]/CHANNEL[3]/PRIVILEGE",
    "/BMC/USER[1]/CHANNEL[4]/PRIVILEGE",
    "/BMC/LAN[1]/IP",
    "/BMC/LAN[2]/IP",
    "/BMC/LAN[3]/IP",
});

bool Contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

bool IsListed(std::span<const std::string_view> list, std::string_view path) {
  return std::ranges::find(list, path) != list.end();
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

void SaveRestore::ExecuteSetQuery(const char* path, const char* value) {
  const std::string_view query = path;
  if (IsDropped(query, productName, lanFailOver)) return;
  if (Contains(query, "/BMC/PEF/FILTER")) {
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

void SaveRestore::ExecuteSetPefFilterQuery(std::string path, std::string value) {
  const std::string node = NodeOf(path);
  std::map<std::string, std::string> settings = CurrentSettings(node);
  settings["STATUS"] = std::move(value);
  ExecuteSetMapQuery(node, settings);
}

void SaveRestore::ExecuteSetLanAlertQuery(std::string path, std::vector<std::string> values) {
  const std::string node = NodeOf(path);
  std::map<std::string, std::string> settings = CurrentSettings(node);
  settings["IP"] = values.at(0);
  settings["MAC"] = values.at(1);
  ExecuteSetMapQuery(node, settings);
}

}  // namespace SDK
