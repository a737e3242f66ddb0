#pragma once

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "plan/Server.h"
#include "tool/targets/TargetKind.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"
#include "tool/terminal/Progress.h"

namespace Tool {

/// The kinds of target of this build, in the order of the help.
[[nodiscard]] std::span<const TargetRow> TargetRows();

/// The targets that a command line names, and how to reach them and log in.
class Targets {
 public:
  Targets();

  /// Adds --target and the options of all kinds to the command line, which keeps to this object.
  void AddOptions(CLI::App& app);

  /// The --target texts, as given.
  [[nodiscard]] const std::vector<std::string>& Names() const { return names_; }
  /// The options that reach them again, for a command that a person may repeat.
  [[nodiscard]] std::vector<std::string> GivenOptions() const;

  /// Opens them.
  /// \throws ToolError     usage: none is given, there is no such kind, or two are for one tree.
  /// \throws ResultStatus  what opening them throws.
  [[nodiscard]] Planning::Mounts Open() const { return Open(names_); }
  /// Opens others, in the same way.
  [[nodiscard]] Planning::Mounts Open(const std::vector<std::string>& names) const;

 private:
  [[nodiscard]] Planning::Mounts OpenOne(const std::string& target) const;

  std::vector<std::string> names_;
  PasswordSource bmcPassword_;
  /// By target, so that none is asked for twice when it is opened anew.
  mutable std::map<std::string, std::shared_ptr<KeptPassword>> kept_;
  std::vector<std::unique_ptr<TargetKind>> kinds_;  ///< one for each row
};

/// Opens the targets of a command, once its arguments are known to be right.
using TargetOpener = std::function<Planning::Mounts()>;

/// Shows every query to a server with --verbose, and as progress, and stops when the user has
/// interrupted the command.
[[nodiscard]] Planning::QueryObserver Watching(const Messages& messages,
                                               Progress* progress = nullptr);

}  // namespace Tool
