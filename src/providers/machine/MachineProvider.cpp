#include "providers/machine/MachineProvider.h"

#include <charconv>
#include <utility>
#include <vector>

#include "common/ErrorManager.h"
#include "query/NodeTree.h"
#include "query/PasswordRequest.h"

namespace Machine {
namespace {

using Query::kPasswordPath;

bool IsWithin(const Limits& limits, std::int64_t number) {
  return limits.low <= number && number <= limits.high;
}

/// Why a setting does not take `value`; empty when it does.
std::string Objection(const _XNode& node, const Constraint& constraint, const std::string& value) {
  if (!IsRenderable(value)) return "it is not valid UTF-8";
  if (!node.options.empty() && !node.options.contains(value)) {
    return "it is not among the options";
  }
  if (constraint.range) {
    std::int64_t number = 0;
    const char* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc() || stop != end || !IsWithin(*constraint.range, number)) {
      return "it must be a number from " + std::to_string(constraint.range->low) + " to " +
             std::to_string(constraint.range->high);
    }
  }
  if (constraint.length && !IsWithin(*constraint.length, static_cast<std::int64_t>(value.size()))) {
    return "it must be " + std::to_string(constraint.length->low) + " to " +
           std::to_string(constraint.length->high) + " bytes long";
  }
  return {};
}

const std::string& CurrentValue(const _XNode& node) {
  static const std::string none;
  return node.values.empty() ? none : node.values.front();
}

}  // namespace

MachineProvider::MachineProvider(std::string path)
    : path_(std::move(path)), machine_(LoadMachine(path_)) {}

std::string MachineProvider::PlatformName() {
  return machine_.platform;
}

void MachineProvider::Read(const std::string& path, NodeMap& results) {
  Query::ReadNodes(machine_.nodes, path, results);
}

void MachineProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  const auto request = settings.find(kPasswordPath);
  if (request == settings.end()) return Apply(settings);
  CheckPassword(Query::PasswordIn(request->second));
  SDK::SettingMap others;  // without the password: a copy of it would stay in memory
  for (const auto& [path, value] : settings) {
    if (path != kPasswordPath) others.emplace(path, value);
  }
  Apply(others);
}

void MachineProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                      const std::string& password) {
  CheckPassword(password);
  Apply(settings);
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

void MachineProvider::CheckValue(const std::string& path, const std::string& value) const {
  const auto node = machine_.nodes.find(path);
  if (node == machine_.nodes.end()) {
    if (value.empty()) return;  // what a save wrote for a setting that this server lacks
    ErrorManager::Raise(ErrorManager::NoSuchNode, path);
  }
  if (CurrentValue(node->second) == value) return;
  if (node->second.kind != NODE_SETTING ||
      !Query::ChildrenAmong(node->second.values, path).empty()) {
    ErrorManager::Raise(ErrorManager::ValueRefused, path, value, "it holds other nodes");
  }
  const auto found = machine_.constraints.find(path);
  const Constraint constraint = found == machine_.constraints.end() ? Constraint{} : found->second;
  if (!constraint.writable) ErrorManager::Raise(ErrorManager::ReadOnlyNode, path, value);
  if (const std::string objection = Objection(node->second, constraint, value);
      !objection.empty()) {
    ErrorManager::Raise(ErrorManager::ValueRefused, path, value, objection);
  }
}

void MachineProvider::Apply(const SDK::SettingMap& settings) {
  for (const auto& [path, value] : settings) CheckValue(path, value);

  std::vector<std::pair<std::vector<std::string>*, std::vector<std::string>>> undo;
  for (const auto& [path, value] : settings) {
    const auto node = machine_.nodes.find(path);
    if (node == machine_.nodes.end() || CurrentValue(node->second) == value) continue;
    std::vector<std::string>& values = node->second.values;
    undo.emplace_back(&values, values);
    values.assign({value});
  }
  if (undo.empty()) return;
  try {
    StoreMachine(machine_, path_);
  } catch (...) {
    for (auto& [values, before] : undo) values->swap(before);
    throw;
  }
}

}  // namespace Machine
