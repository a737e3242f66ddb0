#include "plan/Change.h"

#include <algorithm>
#include <map>
#include <utility>

#include "common/ErrorManager.h"
#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"
#include "plan/Names.h"
#include "query/Limits.h"
#include "query/XDirector.h"

namespace Planning {
namespace {

/// What the server says of the setting at `path`; an empty node when it has none, or has a reason
/// of its own not to tell.
_XNode NodeAt(const std::string& path) {
  NodeMap nodes;
  try {
    SDK::XDirectorImpl::CreateInstance()->ProcessXQuery(path, nodes);
  } catch (const ResultStatus&) {
    return {};
  }
  const auto node = nodes.find(path);
  return node == nodes.end() ? _XNode{} : node->second;
}

std::string ValueOf(const _XNode& node) {
  return node.values.empty() ? "" : node.values.front();
}

std::string OptionText(const _XNode& node, const std::string& value) {
  const auto option = node.options.find(value);
  return option == node.options.end() ? "" : option->second;
}

/// The settings by their path. Rows of a boot order are left out: their keys are devices.
std::map<std::string, const Setting*> ByPath(const Configuration& present) {
  std::map<std::string, const Setting*> settings;
  for (const Setting& setting : present.Settings()) {
    if (!IsBootOrder(setting.section)) settings.try_emplace(setting.path, &setting);
  }
  return settings;
}

/// The section of the boot order that a path is a position of; empty for any other path.
std::string OrderOf(const std::string& path) {
  if (path.starts_with("/BIOS/BootOrder[")) return "BIOS::BootOrder";
  return path.starts_with("/BMC/BOOTORDER[") ? "BootOrder::Hard Disk" : "";
}

/// The last number in brackets.
std::string PositionOf(const std::string& path) {
  const std::size_t open = path.rfind('[') + 1;
  return path.substr(open, path.find(']', open) - open);
}

/// A device that comes to another position, or would at the next boot (`waiting`).
Change Moved(const RecordedWrite& write, const Configuration& present,
             const SDK::SettingMap& waiting) {
  const std::string order = OrderOf(write.path);
  const Setting* was = present.Find(order, write.value);
  Change change{
      write.path, order, write.value, was == nullptr ? "" : was->value, PositionOf(write.path),
      "",         ""};
  const auto isOfDevice = [&](const auto& waits) {
    return OrderOf(waits.first) == order && waits.second == write.value;
  };
  const auto waits = std::ranges::find_if(waiting, isOfDevice);
  if (waits != waiting.end()) change.waiting = PositionOf(waits->first);
  return change;
}

/// A change of a setting, without its texts.
Change Edited(const RecordedWrite& write, const Setting* setting, std::string from) {
  SettingName name{"", write.path};
  if (setting != nullptr) {
    name = {setting->section, setting->key};
  } else if (const auto ofBmc = NameOfBmcPath(write.path)) {
    name = *ofBmc;
  }
  return {write.path, name.section, name.key, std::move(from), write.value, "", ""};
}

/// Why the value that the file has for a change is none of its key's form.
std::string ObjectionOfForm(const Change& change, const Configuration& wanted,
                            const Configuration& present) {
  const Setting* setting = wanted.Find(change.section, change.key);
  if (setting == nullptr) return "";
  const Setting* now = present.Find(change.section, change.key);
  const SDK::ValueForm* form =
      SDK::FormOf(change.section, change.key, now == nullptr ? "" : now->comment);
  return form == nullptr ? "" : SDK::Objection(*form, setting->value);
}

}  // namespace

std::vector<Change> ChangesOf(const std::vector<RecordedWrite>& writes,
                              const Configuration& present, const SDK::SettingMap& waiting) {
  const std::map<std::string, const Setting*> settings = ByPath(present);
  std::vector<Change> changes;
  for (const RecordedWrite& write : writes) {
    const auto found = settings.find(write.path);
    const Setting* setting = found == settings.end() ? nullptr : found->second;
    // A file has retry intervals in another unit than the server.
    const bool isAsSent = setting != nullptr && setting->key != SDK::Expansion::kRetryIntervalKey;
    const auto waits = waiting.find(write.path);
    const bool isWaitedFor = waits != waiting.end();
    if (isAsSent && setting->value == write.value && !isWaitedFor) continue;
    const _XNode node = NodeAt(write.path);
    const std::string from = isAsSent ? setting->value : ValueOf(node);
    if (from == write.value && !isWaitedFor) continue;
    if (!OrderOf(write.path).empty()) {
      changes.push_back(Moved(write, present, waiting));
      continue;
    }
    Change change = Edited(write, setting, from);
    change.fromText = OptionText(node, change.from);
    change.toText = OptionText(node, change.to);
    if (isWaitedFor) change.waiting = waits->second;
    changes.push_back(std::move(change));
  }
  return changes;
}

bool TellsNothing(const std::string& value) {
  return value.empty() || value == kNotTold;
}

std::vector<Change> ChangedSince(const std::vector<Change>& changes) {
  std::vector<Change> changed;
  for (const Change& change : changes) {
    if (!OrderOf(change.path).empty()) continue;  // the server refuses an order of other devices
    const std::string now = ValueOf(NodeAt(change.path));
    if (now == change.from) continue;
    changed.push_back(change);
    changed.back().from = now;
    changed.back().fromText = OptionText(NodeAt(change.path), now);
  }
  return changed;
}

bool IsReadOnly(const std::string& path) {
  return NodeAt(path).limits->isReadOnly;
}

std::vector<Obstacle> ObstaclesTo(const std::vector<Change>& changes, const Configuration& wanted,
                                  const Configuration& present) {
  std::vector<Obstacle> obstacles;
  for (const Change& change : changes) {
    if (!OrderOf(change.path).empty() || change.from == change.to) continue;
    const _XNode node = NodeAt(change.path);
    if (node.limits->isReadOnly) {
      obstacles.push_back({change, "it is read-only", Obstacle::Kind::ReadOnly});
      continue;
    }
    std::string reason = ObjectionOfForm(change, wanted, present);
    if (reason.empty()) reason = Query::Objection(node, change.to);
    if (!reason.empty()) obstacles.push_back({change, reason});
  }
  return obstacles;
}

}  // namespace Planning
