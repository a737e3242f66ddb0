#pragma once

#include <string>
#include <vector>

#include "targets/TargetKind.h"

namespace Tool {

/// The kinds of target: those that are built in, and those of modules, which are loaded when they
/// are asked for. What has been loaded stays as long as the process.
class Kinds {
 public:
  /// A module that cannot be used.
  struct Fault {
    std::string name;
    std::string reason;
  };

  Kinds();

  /// Loads the module of the kind `name`, unless that is done or there is none.
  void Load(const std::string& name);
  /// Loads all modules.
  void LoadAll();
  [[nodiscard]] bool AreAllLoaded() const { return areAllLoaded_; }

  /// What is loaded, in the order of the help.
  [[nodiscard]] const std::vector<const Targets::TargetRow*>& Rows() const { return rows_; }
  /// The kind `name`, if it is loaded.
  [[nodiscard]] const Targets::TargetRow* Find(const std::string& name) const;
  /// The modules that could not be loaded.
  [[nodiscard]] const std::vector<Fault>& Faults() const { return faults_; }
  /// Throws why the module of the kind `name` could not be loaded, if that is so. \throws ToolError
  void ThrowIfFaulty(const std::string& name) const;

  /// The kinds that are built in or have a module, without loading it.
  [[nodiscard]] std::vector<std::string> Names() const;
  /// Where the modules are; empty in a build that has all kinds built in.
  [[nodiscard]] static std::string Folder();

 private:
  void Add(const Targets::TargetRow* rows, std::size_t count);

  std::vector<const Targets::TargetRow*> rows_;
  std::vector<Fault> faults_;
  bool areAllLoaded_ = false;
};

}  // namespace Tool
