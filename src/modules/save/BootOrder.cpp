// The boot order and the hard-disk order: finding them on the machine, and restoring them.
#include "modules/save/BootOrder.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "common/ErrorManager.h"
#include "ini/IniPrimitives.h"
#include "modules/save/BiosTree.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

constexpr const char* kBootOrderSection = "BIOS::BootOrder";
constexpr const char* kDiskOrderSection = "BootOrder::Hard Disk";

std::string Indexed(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

std::string Trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\n\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// A position from 1 to `count`, as an index from 0. \throws ResultStatus  1134, 1263.
std::size_t IndexOf(const std::string& position, std::size_t count) {
  const std::string text = Trimmed(position);
  if (text.empty()) ErrorManager::Raise(ErrorManager::MissingKey);
  std::size_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < 1 || number > count) {
    ErrorManager::Raise(ErrorManager::BadBootOrder);
  }
  return number - 1;
}

}  // namespace

std::optional<std::vector<std::string>> BootOrder::Rearranged(
    const std::vector<std::string>& live, const std::map<std::string, std::string>& wanted) {
  std::vector<const std::string*> order(live.size(), nullptr);
  std::vector<bool> placed(live.size(), false);
  for (const auto& [name, position] : wanted) {
    const std::size_t place = IndexOf(position, live.size());
    const std::string device = Trimmed(name);
    if (order[place] != nullptr && Trimmed(*order[place]) == device) continue;
    std::size_t source = 0;
    while (source < live.size() && (placed[source] || Trimmed(live[source]) != device)) ++source;
    if (source == live.size() || order[place] != nullptr) {
      ErrorManager::Raise(ErrorManager::BadBootOrder);
    }
    order[place] = &live[source];
    placed[source] = true;
  }
  std::size_t next = 0;
  std::vector<std::string> names;
  for (const std::string*& device : order) {
    if (device == nullptr) {
      while (placed[next]) ++next;
      device = &live[next++];
    }
    names.push_back(*device);
  }
  if (names == live) return std::nullopt;
  return names;
}

std::vector<SaveRestore::BootDevice> SaveRestore::LiveBootOrder() {
  ExecuteCountQuery("/BIOS/BootOrder");
  const NodeMap& nodes = CachedResult("/BIOS/BootOrder");
  std::vector<BootDevice> devices;
  // The result holds the node of the order itself and one for each position.
  for (std::size_t position = 1; position < nodes.size(); ++position) {
    const std::string path = Indexed("/BIOS/BootOrder", position);
    devices.push_back({path, BiosTree::FirstValue(nodes, path)});
  }
  return devices;
}

/// Of the boot-order entries that have disks the last one counts, also when it lists none.
std::vector<SaveRestore::BootDevice> SaveRestore::LiveDiskOrder() {
  ExecuteCountQuery("/BMC/BOOTORDER");
  const NodeMap& nodes = CachedResult("/BMC/BOOTORDER");
  std::string disks;
  std::size_t diskCount = 0;
  const std::size_t entryCount = BiosTree::NodeAt(nodes, "/BMC/BOOTORDER").values.size();
  for (std::size_t entry = 1; entry <= entryCount; ++entry) {
    const std::string path = Indexed("/BMC/BOOTORDER", entry) + "/HDD";
    if (!nodes.contains(path)) continue;
    disks = path;
    diskCount = BiosTree::NodeAt(nodes, path).values.size();
  }
  std::vector<BootDevice> devices;
  for (std::size_t position = 1; position <= diskCount; ++position) {
    const std::string path = Indexed(disks, position);
    devices.push_back({path, BiosTree::FirstValue(nodes, path)});
  }
  return devices;
}

/// The writes that bring `devices` into the order that `wanted` asks for: path to name for every
/// position, or none when nothing changes. \throws as BootOrder::Rearranged.
std::map<std::string, std::string> SaveRestore::BootOrderWrites(
    const std::vector<BootDevice>& devices, const std::map<std::string, std::string>& wanted) {
  std::vector<std::string> live;
  live.reserve(devices.size());
  for (const BootDevice& device : devices) live.push_back(device.name);
  std::map<std::string, std::string> writes;
  const auto order = BootOrder::Rearranged(live, wanted);
  for (std::size_t position = 0; order && position < devices.size(); ++position) {
    writes.emplace(devices[position].path, (*order)[position]);
  }
  return writes;
}

int SaveRestore::RestoreBootOrder(const char* fileName, int /*flags*/) {
  const std::vector<BootDevice> devices = LiveBootOrder();
  if (devices.empty()) return 0;
  const SavedConfiguration& file = Saved(fileName);
  if (file.Status() == INI_CANNOT_READ) ErrorManager::Raise(ErrorManager::MissingKey);
  const std::map<std::string, std::string> wanted = file.Entries(kBootOrderSection);
  if (wanted.empty()) {
    PrintSkip("\"BIOS::BootOrder\" is empty, skip this item");
    return 0;
  }
  for (const auto& [path, name] : BootOrderWrites(devices, wanted)) {
    FillBiosMapSetQuery(path, name);
  }
  return 0;
}

int SaveRestore::RestoreBMCBootOrder(const char* fileName, int /*flags*/) {
  const SavedConfiguration& file = Saved(fileName);
  if (file.Status() == INI_CANNOT_READ) ErrorManager::Raise(ErrorManager::MissingKey);
  if (file.Status() == INI_MALFORMED) ErrorManager::Raise(ErrorManager::BadSectionMap);
  const std::map<std::string, std::string> wanted = file.Entries(kDiskOrderSection);
  if (wanted.empty()) {
    PrintSkip("\"BootOrder::Hard Disk\" is empty, skip this item");
    return 0;
  }
  const std::vector<BootDevice> disks = LiveDiskOrder();
  if (disks.empty()) return 0;
  const auto writes = BootOrderWrites(disks, wanted);
  if (writes.empty()) return 0;
  for (const auto& [path, name] : writes) bmcSetMap.insert_or_assign(path, name);
  ExecuteBmcQuery();
  return 0;
}

}  // namespace SDK
