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

/// A position from 1 to `count`, as an index from 0. \throws ResultStatus  1134, 1263.
std::size_t IndexOf(const std::string& position, std::size_t count) {
  const std::string text = BiosTree::TrimmedName(position);
  if (text.empty()) ErrorManager::Raise(ErrorManager::MissingKey);
  std::size_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < 1 || number > count) {
    ErrorManager::Raise(ErrorManager::BadBootOrder);
  }
  return number - 1;
}

/// True for a device of the name that a file has; a position without a device is none of any name.
bool HasName(const std::string& device, const std::string& name) {
  return !device.empty() && BiosTree::TrimmedName(device) == BiosTree::TrimmedName(name);
}

/// An order that is being put together.
class Placement {
 public:
  explicit Placement(const std::vector<std::string>& live)
      : live_(live), order_(live.size(), nullptr), isPlaced_(live.size(), false) {}

  [[nodiscard]] const std::string* At(std::size_t place) const { return order_[place]; }

  void Put(std::size_t source, std::size_t place) {
    order_[place] = &live_[source];
    isPlaced_[source] = true;
  }

  /// The device that `name` takes to get one to `place`: it stands there already, or is the first
  /// one that has no place yet. Nothing without one.
  [[nodiscard]] std::optional<std::size_t> SourceFor(const std::string& name,
                                                     std::size_t place) const {
    for (const bool isExact : {true, false}) {
      const auto fits = [&](std::size_t source) {
        if (isPlaced_[source]) return false;
        return isExact ? live_[source] == name : HasName(live_[source], name);
      };
      if (fits(place)) return place;
      for (std::size_t source = 0; source < live_.size(); ++source) {
        if (fits(source)) return source;
      }
    }
    return std::nullopt;
  }

  /// Brings what has no place yet to the free positions.
  [[nodiscard]] std::vector<std::string> Filled() && {
    for (std::size_t place = 0; place < live_.size(); ++place) {
      if (At(place) == nullptr && live_[place].empty()) Put(place, place);
    }
    for (const bool isDevice : {true, false}) {  // positions that have lost their gap come last
      for (std::size_t source = 0; source < live_.size(); ++source) {
        if (isPlaced_[source] || live_[source].empty() == isDevice) continue;
        const auto free = std::ranges::find(order_, nullptr);
        Put(source, static_cast<std::size_t>(free - order_.begin()));
      }
    }
    std::vector<std::string> names;
    for (const std::string* device : order_) names.push_back(*device);
    return names;
  }

 private:
  const std::vector<std::string>& live_;
  std::vector<const std::string*> order_;
  std::vector<bool> isPlaced_;
};

/// A line of the file that is to be placed.
struct Wish {
  const std::string& name;
  std::size_t place;
  int turn;  ///< smaller ones come first
};

/// Names as the machine has them before those that differ in blanks, and of these each time those
/// whose device stands in its place already.
int TurnOf(const std::string& name, std::size_t place, const std::vector<std::string>& live) {
  if (live[place] == name) return 0;
  if (std::ranges::find(live, name) != live.end()) return 1;
  return HasName(live[place], name) ? 2 : 3;
}

}  // namespace

std::optional<std::vector<std::string>> BootOrder::Rearranged(
    const std::vector<std::string>& live, const std::map<std::string, std::string>& wanted,
    std::string& entry) {
  std::vector<Wish> wishes;
  for (const auto& [name, position] : wanted) {
    entry = name;
    const std::size_t place = IndexOf(position, live.size());
    wishes.push_back({name, place, TurnOf(name, place, live)});
  }
  Placement placement(live);
  for (int turn = 0; turn <= 3; ++turn) {
    for (const Wish& wish : wishes) {
      if (wish.turn != turn) continue;
      entry = wish.name;
      const std::string* taken = placement.At(wish.place);
      if (taken != nullptr && HasName(*taken, wish.name)) continue;
      const auto source = placement.SourceFor(wish.name, wish.place);
      if (!source || taken != nullptr) ErrorManager::Raise(ErrorManager::BadBootOrder);
      placement.Put(*source, wish.place);
    }
  }
  std::vector<std::string> names = std::move(placement).Filled();
  if (names == live) return std::nullopt;
  return names;
}

std::vector<std::string> BootOrder::NamesAtTwoPositions(
    const std::vector<std::pair<std::string, std::string>>& lines) {
  std::map<std::string, std::string> positions;
  std::vector<std::string> names;
  for (const auto& [name, text] : lines) {
    const std::string position = BiosTree::TrimmedName(text);
    const auto [seen, isFirst] = positions.try_emplace(name, position);
    if (isFirst || seen->second == position) continue;
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  }
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
