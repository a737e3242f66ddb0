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

/// The first device of this name that has no place yet; `live.size()` without one.
std::size_t FindUnplaced(const std::vector<std::string>& live, const std::vector<bool>& placed,
                         const std::string& name) {
  const auto find = [&](auto fits) {
    std::size_t source = 0;
    while (source < live.size() && (placed[source] || !fits(live[source]))) ++source;
    return source;
  };
  const std::size_t exact = find([&](const std::string& device) { return device == name; });
  if (exact != live.size()) return exact;
  return find([&](const std::string& device) { return Trimmed(device) == Trimmed(name); });
}

}  // namespace

std::optional<std::vector<std::string>> BootOrder::Rearranged(
    const std::vector<std::string>& live, const std::map<std::string, std::string>& wanted,
    std::string& entry) {
  std::vector<const std::string*> order(live.size(), nullptr);
  std::vector<bool> placed(live.size(), false);
  for (const auto& [name, position] : wanted) {
    entry = name;
    const std::size_t place = IndexOf(position, live.size());
    if (order[place] != nullptr && Trimmed(*order[place]) == Trimmed(name)) continue;
    const std::size_t source = FindUnplaced(live, placed, name);
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

/// The writes that bring `devices` into the order that `wanted`, the file's `section`, asks for:
/// path to name for every position, or none when nothing changes.
/// \throws as BootOrder::Rearranged.
std::map<std::string, std::string> SaveRestore::BootOrderWrites(
    const std::string& section, const std::vector<BootDevice>& devices,
    const std::map<std::string, std::string>& wanted) {
  std::vector<std::string> live;
  live.reserve(devices.size());
  for (const BootDevice& device : devices) live.push_back(device.name);
  std::map<std::string, std::string> writes;
  std::optional<std::vector<std::string>> order;
  std::string entry;
  try {
    order = BootOrder::Rearranged(live, wanted, entry);
  } catch (const ResultStatus&) {
    ValueRefused(section, entry);
    throw;
  }
  for (std::size_t position = 0; order && position < devices.size(); ++position) {
    writes.emplace(devices[position].path, (*order)[position]);
  }
  return writes;
}

int SaveRestore::RestoreBootOrder(const char* fileName, int /*flags*/) {
  const std::vector<BootDevice> devices = LiveBootOrder();
  if (devices.empty()) return 0;
  const SavedConfiguration& file = Saved(fileName);
  if (!file.IsReadable()) ErrorManager::Raise(ErrorManager::MissingKey);
  // Of a file that is malformed elsewhere too: that is no fault of this section.
  const std::map<std::string, std::string> wanted = file.Entries(kBootOrderSection);
  if (wanted.empty()) {
    PrintSkip("\"BIOS::BootOrder\" is empty, skip this item");
    return 0;
  }
  for (const auto& [path, name] : BootOrderWrites(kBootOrderSection, devices, wanted)) {
    FillBiosMapSetQuery(path, name);
  }
  return 0;
}

int SaveRestore::RestoreBMCBootOrder(const char* fileName, int /*flags*/) {
  const SavedConfiguration& file = Saved(fileName);
  const int status = file.MapStatus();
  if (status == INI_CANNOT_READ) ErrorManager::Raise(ErrorManager::MissingKey);
  if (status == INI_MALFORMED) ErrorManager::Raise(ErrorManager::BadSectionMap);
  const std::map<std::string, std::string> wanted = file.Entries(kDiskOrderSection);
  if (wanted.empty()) {
    PrintSkip("\"BootOrder::Hard Disk\" is empty, skip this item");
    return 0;
  }
  const std::vector<BootDevice> disks = LiveDiskOrder();
  if (disks.empty()) return 0;
  const auto writes = BootOrderWrites(kDiskOrderSection, disks, wanted);
  if (writes.empty()) return 0;
  for (const auto& [path, name] : writes) bmcSetMap.insert_or_assign(path, name);
  ExecuteBmcQuery();
  return 0;
}

}  // namespace SDK
