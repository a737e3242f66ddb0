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

const _XNode& NodeOf(const NodeMap& nodes, NodeMap::const_iterator place) {
  return place == nodes.end() ? BiosTree::AbsentNode() : place->second;
}

/// Calls `visit` with the path of each child of the menu at `menu`, and with its place, which is
/// the end of `nodes` where it is absent.
template <typename Visit>
void ForEachChild(const NodeMap& nodes, NodeMap::const_iterator menu, Visit visit) {
  auto near = menu;
  for (const std::string& child : NodeOf(nodes, menu).values) {
    const auto place = BiosTree::FindNear(nodes, near, child);
    if (place != nodes.end()) near = place;
    visit(child, place);
  }
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
    std::vector<NodeMap::const_iterator> subMenus;
    ForEachChild(nodes, nodes.find(menu), [&](const std::string& child, auto place) {
      const _XNode& node = NodeOf(nodes, place);
      if (node.kind == NODE_SETTING) WriteOneData(menu, child, node, walk.rows);
      if (node.kind == NODE_MENU) subMenus.push_back(place);
    });
    if (!SavesSubMenus(menu)) continue;
    for (const auto& subMenu : subMenus) WriteMenus(subMenu, nodes, walk);
  }
}

void SaveRestore::WriteData(const std::string& parent, const std::string& path,
                            const NodeMap& nodes, MenuWalk& walk) {
  const auto place = nodes.find(path);
  const _XNode& node = NodeOf(nodes, place);
  if (node.kind == NODE_SETTING) return WriteOneData(parent, path, node, walk.rows);
  WriteMenus(place, nodes, walk);
}

void SaveRestore::WriteMenus(NodeMap::const_iterator root, const NodeMap& nodes, MenuWalk& walk) {
  std::vector<NodeMap::const_iterator> pending{root};
  while (!pending.empty()) {
    const auto place = pending.back();
    pending.pop_back();
    const std::string& menu = place->first;
    if (IsExcludedMenu(menu) || !walk.Enter(menu)) continue;
    if (place->second.kind == NODE_MENU) WriteSectionName(menu, walk.rows);
    const bool savesSubMenus = SavesSubMenus(menu);
    ForEachChild(nodes, place, [&](const std::string& child, auto childPlace) {
      const _XNode& node = NodeOf(nodes, childPlace);
      if (node.kind != NODE_MENU) {
        WriteOneData(menu, child, node, walk.rows);
      } else if (savesSubMenus) {
        pending.push_back(childPlace);
      }
    });
  }
}

void SaveRestore::WriteOneData(const std::string& parent, const std::string& path,
                               const _XNode& setting, RowSink& rows) {
  if (setting.kind != NODE_SETTING || setting.flag) return;
  if (std::ranges::find(kExcludedSettings, path) != kExcludedSettings.end()) return;
  const std::string_view key = BiosTree::KeyOf(path, parent);
  if (key.empty() || BiosTree::IsPrivateKey(key)) return;
  writtenRow.key = key;
  writtenRow.value = BiosTree::EffectiveValue(setting);
  // Settings that have their options in common mostly stand together.
  if (!setting.remark.empty()) {
    BiosTree::SetOptionComment(writtenRow.comment, setting);
    writtenOptions.reset();
  } else if (!writtenOptions || !writtenOptions->IsCopyOf(setting.options)) {
    BiosTree::SetOptionComment(writtenRow.comment, setting);
    writtenOptions = setting.options;
  }
  writtenRow.path = path;
  rows.Write(writtenRow);
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
