// The BIOS part of a save: the setup menus, then the hard-disk order and the boot order.
#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "modules/save/BiosTree.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

/// Settings that are never saved. "#%d" is compared as it stands: the plain boot options themselves
/// are saved.
constexpr auto kExcludedSettings = std::to_array<std::string_view>({
    "/BIOS/Boot Options/Boot Options/Boot Option #%d",
    "/BIOS/Boot Options/Boot Option #%d",
    "/BIOS/Boot Options/Boot Options/Add EFI Boot Option/Select File system",
    "/BIOS/Boot Options/Add EFI Boot Option/Select File system",
    "/BIOS/Boot Options/Boot Options/Delete EFI Boot Option/Delete Boot Option",
    "/BIOS/Boot Options/Delete EFI Boot Option/Delete Boot Option",
    "/BIOS/Boot Options/Boot Options/Delete EFI Boot Option",
    "/BIOS/Boot Options/Delete EFI Boot Option",
    "/BIOS/Boot Options/Boot Options/Add EFI Boot Option",
    "/BIOS/Boot Options/Add EFI Boot Option",
});

/// Menus whose path contains one of these are never saved, with everything below them: they are
/// actions on boot options, not settings.
constexpr auto kExcludedMenus = std::to_array<std::string_view>({
    "/BIOS/Boot Options/Boot Options",
    "/BIOS/Boot Options/Add EFI Boot Option",
    "/BIOS/Boot Options/Delete EFI Boot Option",
});

bool IsExcludedMenu(const std::string& path) {
  return std::ranges::any_of(kExcludedMenus, [&](std::string_view excluded) {
    return path.find(excluded) != std::string::npos;
  });
}

/// The sub-menus of Server Management show the BMC's settings, which have sections of their own.
bool SavesSubMenus(const std::string& path) {
  return path.find("/BIOS/Server Management") == std::string::npos;
}

bool IsMenu(const NodeMap& nodes, const std::string& path) {
  return BiosTree::NodeAt(nodes, path).kind == NODE_MENU;
}

}  // namespace

void SaveRestore::SaveBiosConfiguration(RowSink& rows) {
  ExecuteCountQuery("/BIOS");
  MenuWalk walk{rows, {}};
  Search("/BIOS", CachedResult("/BIOS"), walk);
  SaveBootDevices("[BootOrder::Hard Disk]", LiveDiskOrder(), rows);
  SaveBootDevices("[BIOS::BootOrder]", LiveBootOrder(), rows);
}

void SaveRestore::Search(const std::string& path, const NodeMap& nodes, MenuWalk& walk) {
  for (const std::string& menu : BiosTree::NodeAt(nodes, path).values) {
    if (!IsNeedToSaveRestore(menu) || IsExcludedMenu(menu) || !walk.Enter(menu)) continue;
    WriteSectionName(menu, walk.rows);
    const std::vector<std::string>& children = BiosTree::NodeAt(nodes, menu).values;
    for (const std::string& child : children) {
      const _XNode& node = BiosTree::NodeAt(nodes, child);
      if (node.kind == NODE_SETTING) WriteOneData(menu, child, node, walk.rows);
    }
    if (!SavesSubMenus(menu)) continue;
    for (const std::string& child : children) {
      if (IsMenu(nodes, child)) WriteData(menu, child, nodes, walk);
    }
  }
}

void SaveRestore::WriteData(const std::string& parent, const std::string& path,
                            const NodeMap& nodes, MenuWalk& walk) {
  const _XNode& root = BiosTree::NodeAt(nodes, path);
  if (root.kind == NODE_SETTING) return WriteOneData(parent, path, root, walk.rows);
  std::vector<std::string> pending{path};
  while (!pending.empty()) {
    const std::string menu = std::move(pending.back());
    pending.pop_back();
    if (IsExcludedMenu(menu) || !walk.Enter(menu)) continue;
    const _XNode& node = BiosTree::NodeAt(nodes, menu);
    if (node.kind == NODE_MENU) WriteSectionName(menu, walk.rows);
    for (const std::string& child : node.values) {
      const _XNode& childNode = BiosTree::NodeAt(nodes, child);
      if (childNode.kind != NODE_MENU) {
        WriteOneData(menu, child, childNode, walk.rows);
      } else if (SavesSubMenus(menu)) {
        pending.push_back(child);
      }
    }
  }
}

void SaveRestore::WriteOneData(const std::string& parent, const std::string& path,
                               const _XNode& setting, RowSink& rows) {
  if (setting.kind != NODE_SETTING || setting.flag) return;
  if (std::ranges::find(kExcludedSettings, path) != kExcludedSettings.end()) return;
  const std::string key = BiosTree::KeyOf(path, parent);
  if (key.empty() || BiosTree::IsPrivateKey(key)) return;
  rows.Write({key, BiosTree::EffectiveValue(setting), BiosTree::OptionComment(setting), path});
}

void SaveRestore::WriteSectionName(const std::string& path, RowSink& rows) {
  rows.BeginSection("[" + BiosTree::SectionName(path) + "]");
}

void SaveRestore::SaveBootDevices(const std::string& section,
                                  const std::vector<BootDevice>& devices, RowSink& rows) {
  rows.BeginSection(section);
  std::size_t position = 0;
  for (const BootDevice& device : devices) {
    ++position;  // a position without a device keeps its number
    if (!device.name.empty()) rows.Write({device.name, std::to_string(position), "", device.path});
  }
}

// The same for a caller that has an open file instead of a sink.

void SaveRestore::SaveBiosConfiguration(FILE* file) {
  IniRowSink rows(file);
  SaveBiosConfiguration(rows);
}

void SaveRestore::Search(std::string /*parent*/, std::string path, NodeMap nodes, FILE* file) {
  IniRowSink rows(file);
  MenuWalk walk{rows, {}};
  Search(path, nodes, walk);
}

void SaveRestore::WriteData(std::string parent, std::string path, NodeMap& nodes, FILE* file) {
  IniRowSink rows(file);
  MenuWalk walk{rows, {}};
  WriteData(parent, path, nodes, walk);
}

void SaveRestore::WriteOneData(std::string parent, std::string path, NodeMap& nodes, FILE* file) {
  IniRowSink rows(file);
  WriteOneData(parent, path, BiosTree::NodeAt(nodes, path), rows);
}

void SaveRestore::WriteSectionName(std::string path, FILE* file) {
  IniRowSink rows(file);
  WriteSectionName(path, rows);
}

}  // namespace SDK
