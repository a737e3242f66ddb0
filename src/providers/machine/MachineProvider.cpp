#include "providers/machine/MachineProvider.h"

#include <utility>
#include <vector>

#include "common/ErrorManager.h"
#include "query/NodeTree.h"
#include "query/PasswordRequest.h"
#include "query/WriteNotes.h"

namespace Machine {
namespace {

using Query::kPasswordPath;

const std::string& CurrentValue(const _XNode& node) {
  static const std::string none;
  return node.values.empty() ? none : node.values.front();
}

}  // namespace

MachineProvider::MachineProvider(std::string path)
    : store_(std::move(path)), machine_(store_.Load()) {}

std::string MachineProvider::PlatformName() {
  return machine_.platform;
}

void MachineProvider::Read(const std::string& path, NodeMap& results) {
  Query::ReadNodes(machine_.nodes, path, results);
}

void MachineProvider::Refresh() {
  machine_ = store_.Load();
}

void MachineProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  const auto request = settings.find(kPasswordPath);
  if (request != settings.end()) CheckPassword(Query::PasswordIn(request->second));
  Apply(settings);
  RaisePostponed();
}

void MachineProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                      const std::string& password) {
  CheckPassword(password);
  Apply(settings);
  RaisePostponed();
}

void MachineProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) {
    for (const auto& [name, value] : settings) CheckPassword(value);
    return;
  }
  SDK::SettingMap batch;
  for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
  Apply(batch);
}

void MachineProvider::CheckPassword(std::string_view password) const {
  if (password == machine_.adminPassword) return;
  ErrorManager::Raise(ErrorManager::PasswordRefused, machine_.adminPassword.empty()
                                                         ? "none is set on this machine"
                                                         : "it is wrong");
}

SDK::SettingMap MachineProvider::ChangesIn(const SDK::SettingMap& settings) {
  SDK::SettingMap changes;
  std::vector<SDK::WriteNote> refusals;
  for (const auto& [path, value] : settings) {
    if (path == kPasswordPath) continue;  // a copy of it would stay in memory
    const auto node = machine_.nodes.find(path);
    if (node == machine_.nodes.end()) {
      if (value.empty()) continue;  // what a save wrote for a setting that this server lacks
      ErrorManager::Raise(ErrorManager::NoSuchNode, path);
    }
    if (CurrentValue(node->second) == value) continue;
    if (node->second.kind != NODE_SETTING ||
        !Query::ChildrenAmong(node->second.values, path).empty()) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, value, "it holds other nodes");
    }
    if (node->second.limits->isReadOnly) {
      refusals.push_back({path, SDK::WriteNote::Fate::Refused, "it is read-only"});
      continue;
    }
    const std::string objection =
        IsRenderable(value) ? Query::Objection(node->second, value) : "it is not valid UTF-8";
    if (!objection.empty()) {
      ErrorManager::Raise(ErrorManager::ValueRefused, path, value, objection);
    }
    changes.emplace(path, value);
  }
  writes_ += changes.size() + refusals.size();
  notes_.insert(notes_.end(), refusals.begin(), refusals.end());
  postponed_.insert(postponed_.end(), refusals.begin(), refusals.end());
  return changes;
}

void MachineProvider::Apply(const SDK::SettingMap& settings) {
  std::vector<std::pair<Query::Texts*, Query::Texts>> undo;
  for (const auto& [path, value] : ChangesIn(settings)) {
    Query::Texts& values = machine_.nodes.at(path).values;
    undo.emplace_back(&values, values);
    values = {value};
  }
  if (undo.empty()) return;
  try {
    store_.Replace(machine_);
  } catch (...) {
    for (auto& [values, before] : undo) *values = std::move(before);
    throw;
  }
}

void MachineProvider::RaisePostponed() {
  const std::vector<SDK::WriteNote> refusals = std::exchange(postponed_, {});
  Query::RaiseRefusals(refusals, std::exchange(writes_, 0));
}

std::vector<SDK::WriteNote> MachineProvider::TakeWriteNotes() {
  return std::exchange(notes_, {});
}

}  // namespace Machine
