#include "tool/targets/Kinds.h"

#include <algorithm>

#include "targets/Rows.h"
#include "tool/ExitCodes.h"
#ifdef SAVERESTORE_MODULES
#include "tool/targets/ModuleFile.h"
#endif

namespace Tool {

using Targets::TargetRow;

Kinds::Kinds() {
  for (const auto& rows : {
           // in the order of the modules' names, as loading them has it
           Targets::MachineRows(),
#ifdef SAVERESTORE_IPMI
           Targets::IpmiRows(),
#endif
#ifdef SAVERESTORE_LOCAL
           Targets::LocalRows(),
#endif
#ifdef SAVERESTORE_REDFISH
           Targets::RedfishRows(),
#endif
       }) {
    Add(rows.data(), rows.size());
  }
#ifndef SAVERESTORE_MODULES
  areAllLoaded_ = true;
#endif
}

void Kinds::Add(const TargetRow* rows, std::size_t count) {
  for (std::size_t at = 0; at < count; ++at) {
    if (Find(rows[at].name) == nullptr) rows_.push_back(rows + at);
  }
}

const TargetRow* Kinds::Find(const std::string& name) const {
  const auto row = std::ranges::find(rows_, name, &TargetRow::name);
  return row == rows_.end() ? nullptr : *row;
}

void Kinds::ThrowIfFaulty(const std::string& name) const {
  const auto fault = std::ranges::find(faults_, name, &Fault::name);
  if (fault == faults_.end()) return;
  throw ToolError(ExitFailed, "the back end \"" + name + "\" cannot be loaded: " + fault->reason);
}

std::vector<std::string> Kinds::Names() const {
  std::vector<std::string> names;
  for (const TargetRow* row : rows_) names.emplace_back(row->name);
#ifdef SAVERESTORE_MODULES
  for (const std::string& name : ModuleNames(Folder())) {
    if (Find(name) == nullptr) names.push_back(name);
  }
#endif
  std::ranges::sort(names);
  return names;
}

#ifdef SAVERESTORE_MODULES

std::string Kinds::Folder() {
  return ModuleFolder();
}

void Kinds::Load(const std::string& name) {
  if (Find(name) != nullptr || std::ranges::find(faults_, name, &Fault::name) != faults_.end()) {
    return;
  }
  const std::vector<std::string> there = ModuleNames(Folder());
  if (std::ranges::find(there, name) == there.end()) return;
  try {
    const Targets::Module& module = LoadModule(Folder(), name);
    Add(module.rows, module.count);
  } catch (const ToolError& fault) {
    faults_.push_back({name, fault.what()});
  }
}

void Kinds::LoadAll() {
  for (const std::string& name : ModuleNames(Folder())) Load(name);
  areAllLoaded_ = true;
}

#else

std::string Kinds::Folder() {
  return {};
}

void Kinds::Load(const std::string& /*name*/) {}

void Kinds::LoadAll() {}

#endif

}  // namespace Tool
