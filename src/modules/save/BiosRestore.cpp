// The BIOS part of a restore: walks the machine's setup menus, not the file, and queues every
// setting that the file wants otherwise. All of them leave in one batch at the end.
#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Text.h"
#include "ini/IniPrimitives.h"
#include "modules/save/BiosTree.h"
#include "modules/save/SaveRestore.h"
#include "modules/save/SerialPorts.h"

namespace SDK {
namespace {

/// Nodes that a restore passes over. Not the save's list: the two have grown apart, and files in
/// the field rely on it.
constexpr auto kExcludedNodes = std::to_array<std::string_view>({
    "/BIOS/Boot Options/Boot Options",
    "/BIOS/Boot Options/Boot Options/Boot Option #%d",
    "/BIOS/Boot Options/Boot Option #%d",
    "/BIOS/Boot Options/Delete EFI Boot Option",
    "/BIOS/Boot Options/Delete EFI Boot Option/Delete Boot Option",
    "/BIOS/Boot Options/Add EFI Boot Option",
    "/BIOS/Boot Options/Add EFI Boot Option/Add Boot Option",
});

/// A menu that shows the BMC's settings, which are restored by their own sections.
constexpr std::string_view kExcludedMenu = "BMC LAN Configuration";

constexpr const char* kSerialSection = "BIOS::Advanced::Serial Port Configuration";
constexpr auto kSerialEnableKeys =
    std::to_array<std::string_view>({"Serial A Enable", "Serial B Enable"});

/// The keys that the second serial port has under another name in the serial section.
bool IsPortResource(std::string_view key) {
  return key == "Address" || key == "IRQ";
}

}  // namespace

SerialPorts& SerialPorts::OfProcess() {
  static SerialPorts ports;
  return ports;
}

int SaveRestore::CommitBiosConfigurationFromINIFile(const char* fileName) {
  QueueBiosSettings(fileName);
  RestoreBootOrdersAndSend(fileName);
  return 0;
}

void SaveRestore::QueueBiosSettings(const char* fileName) {
  ExecuteCountQuery("/BIOS");
  const NodeMap& nodes = CachedResult("/BIOS");
  if (BiosTree::NodeAt(nodes, "/BIOS").values.empty()) {
    PrintSkip("The BIOS settings of this server cannot be read, no BIOS setting is restored.");
  }
  RestoreSearch("/", "/BIOS", nodes, fileName);
}

void SaveRestore::RestoreBootOrdersAndSend(const char* fileName) {
  if (!skipBootOrder) {
    RestoreBootOrder(fileName, 0);
    RestoreBMCBootOrder(fileName, 0);
  }
  ExecuteBiosSetMapQuery();
}

void SaveRestore::RestoreSearch(const std::string& /*parent*/, const std::string& path,
                                const NodeMap& nodes, const char* fileName) {
  std::set<std::string> visited;  // a menu listed twice, or below itself, is taken once
  for (const std::string& top : BiosTree::NodeAt(nodes, path).values) {
    if (!IsNeedToSaveRestore(top)) continue;
    std::vector<std::string> pending{top};
    while (!pending.empty()) {
      const std::string menu = std::move(pending.back());
      pending.pop_back();
      if (!visited.insert(menu).second) continue;
      for (const std::string& child : BiosTree::NodeAt(nodes, menu).values) {
        if (std::ranges::find(kExcludedNodes, child) != kExcludedNodes.end()) continue;
        if (BiosTree::NodeAt(nodes, child).kind != NODE_MENU) {
          SaveBiosData(menu, child, nodes, fileName);
        } else if (child.find(kExcludedMenu) == std::string::npos) {
          pending.push_back(child);
        }
      }
    }
  }
}

int SaveRestore::SaveBiosData(const std::string& parent, const std::string& path,
                              const NodeMap& nodes, const char* fileName) {
  const _XNode& setting = BiosTree::NodeAt(nodes, path);
  if (setting.kind != NODE_SETTING || setting.flag) return 0;
  BiosKey place{BiosTree::SectionName(parent), std::string(BiosTree::KeyOf(path, parent))};
  const BiosKey own = place;
  place.key = BiosTree::TrimmedName(own.key);
  if (BiosTree::IsPrivateKey(place.key)) return 0;

  // The save keeps the blanks around a name, so that is how a file that it wrote has the key;
  // beside it there may be another one that differs in these blanks only.
  FileValue value = ReadFileValue(own.section, own.key, fileName);
  const bool isOwn = value.IsRead();
  if (value.status == INI_NO_KEY) value = ReadFileValue(place.section, place.key, fileName);
  if (place.section.find(kSerialSection) != std::string::npos && value.IsAbsent()) {
    value = ReadSerialFallback(place, fileName);
  }
  if (value.IsAbsent()) ReadByAttribute(setting, nodes, fileName, place, value);
  if (value.status == INI_CANNOT_READ) ErrorManager::Raise(ErrorManager::MissingKey);
  if (value.status == INI_NO_SECTION) {
    PrintSkip("Failed to find section \"" + place.section + "\" in ini file, skip this item.");
    return 0;
  }
  if (value.status == INI_NO_KEY) {
    PrintSkip("Failed to find option name \"" + place.section + "::" + place.key +
              "\" in ini file, skip this item.");
    return 0;
  }
  if (!isOwn && place != own) ValueTakenFrom(path, place.section, place.key, value.text);
  QueueBiosValue(path, place, value, BiosTree::EffectiveValue(setting));
  return 0;
}

void SaveRestore::QueueBiosValue(const std::string& path, const BiosKey& place,
                                 const FileValue& value, const std::string& current) {
  if (value.IsEmpty() || value.whole == current) return;
  if (value.IsCut()) {
    PrintSkip("The value of \"" + place.section + "::" + place.key +
              "\" in ini file is longer than 127 bytes, skip this item.");
    return;
  }
  if (value.text != current) FillBiosMapSetQuery(path, value.text);
}

/// Reads a setting that the file has under another key, by the name of its attribute: firmware
/// gives settings new labels and menus. `place` becomes where it was read. A key that another
/// setting of the machine has is that one's.
void SaveRestore::ReadByAttribute(const _XNode& setting, const NodeMap& nodes, const char* fileName,
                                  BiosKey& place, FileValue& value) {
  const std::string_view name = BiosTree::AttributeIn(setting.remark);
  const BiosKey* found =
      Saved(fileName).FindAttribute(name.empty() ? place.key : std::string(name), !name.empty());
  if (found == nullptr || nodes.contains(BiosTree::PathOf(found->section, found->key))) return;
  place = *found;
  value = ReadFileValue(place.section, place.key, fileName);
}

/// Reads a key of the serial-port menu from the menu's section in files that keep both ports there.
/// `place` becomes where it was read. The settings come port A first; the values of port A are kept
/// for the comparison with port B, over restores as well.
FileValue SaveRestore::ReadSerialFallback(BiosKey& place, const char* fileName) {
  SerialPorts& ports = SerialPorts::OfProcess();
  const std::string key = place.key;
  place.section = kSerialSection;
  if (ports.serialBfound && IsPortResource(key)) place.key += "B";
  FileValue value = ReadFileValue(place.section, place.key, fileName);
  if (value.IsAbsent() && std::ranges::find(kSerialEnableKeys, key) != kSerialEnableKeys.end()) {
    KeyMissing(place.section, place.key);
  }
  if (!value.IsRead()) return value;

  if (key == "Serial B Enable" && value.text == "1") ports.serialBfound = true;
  if (key == "IRQ" && value.text == "4") value.text = value.whole = "3";
  const bool takenByPortA = (key == "Address" && value.text == ports.Serial_A_Address) ||
                            (key == "IRQ" && value.text == ports.Serial_A_IRQ);
  if (ports.serialBfound && takenByPortA) {
    ValueRefused(place.section, place.key);
    ErrorManager::Raise(ErrorManager::BadBiosValue);
  }
  if (key == "Address") ports.Serial_A_Address = value.text;
  if (key == "IRQ") ports.Serial_A_IRQ = value.text;
  return value;
}

}  // namespace SDK
