#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Server.h"
#include "targets/TargetKind.h"
#include "tool/targets/Kinds.h"
#include "tool/targets/NamedTarget.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"
#include "tool/terminal/Progress.h"

namespace CLI {
class App;
}

namespace Tool {

/// The targets that a command line names, and how to reach them and log in.
class TargetChoice final : private Targets::Frontend {
 public:
  /// `kinds` outlives this.
  explicit TargetChoice(Kinds& kinds);

  /// Adds --target and the options of the kinds that are loaded to the command line, which keeps to
  /// this object.
  void AddOptions(CLI::App& app);

  // What follows reads the targets' names off SAVERESTORE_TARGET when the command line has none,
  // and looks names with "@" up in targets.ini. \throws ToolError  there is no such name, or its
  // section is malformed.

  /// The targets, KIND:PLACE.
  [[nodiscard]] const std::vector<std::string>& Names() const { return Chosen().targets; }
  /// The options that reach them again, for a command that a person may repeat.
  [[nodiscard]] std::vector<std::string> GivenOptions() const;
  /// Another way to the same server, which targets.ini has; empty for none.
  [[nodiscard]] const std::string& Rescue() const { return Chosen().rescue; }
  /// Which server it is, for people, where the command line does not say it itself; else empty.
  [[nodiscard]] const std::string& Announcement() const { return Chosen().announcement; }
  [[nodiscard]] Kinds& AllKinds() const { return kinds_; }

  /// Opens them.
  /// \throws ToolError, Failure  usage: none is given, there is no such kind, two are for one tree.
  /// \throws ResultStatus        what opening them throws.
  [[nodiscard]] Planning::Mounts Open() const;
  /// Opens others, in the same way.
  [[nodiscard]] Planning::Mounts Open(const std::vector<std::string>& targets) const;

 private:
  /// An option of a kind of target, and what the command line has given.
  struct Given {
    const Targets::Option* option;
    std::vector<std::string> values;
  };

  /// What the command line comes to with the files that it refers to.
  struct Choice {
    std::vector<std::string> targets;
    std::string rescue;
    std::string announcement;
    PasswordSource bmcPassword;
    std::string bmcOver;  ///< the kind of target that is for the BMC; empty where none is chosen
    std::optional<std::chrono::seconds> patience;
    std::vector<Given> options;
  };

  [[nodiscard]] const Choice& Chosen() const;
  void Take(const NamedTarget& named, Choice& choice) const;
  void TakeOption(const NamedTarget& named, const std::string& key, Choice& choice) const;
  void AddOption(CLI::App& app, const Targets::Option& option);

  // What a kind of target asks of the tool.
  void ReadPassword(const std::string& user, std::size_t longest, std::string& out) const override;
  void ReadSecret(const std::string& file, std::size_t longest, std::string& out) const override;
  void ThrowIfInterrupted() const override;
  [[nodiscard]] bool IsHurried() const override;
  [[nodiscard]] Planning::Mounts Open(const std::string& target) const override;

  [[nodiscard]] std::shared_ptr<KeptPassword> KeptOf(const std::string& origin) const;

  Kinds& kinds_;
  std::vector<std::string> names_;
  PasswordSource bmcPassword_;
  std::string bmcOver_;
  std::optional<std::chrono::seconds> patience_;
  std::deque<Given> given_;               ///< the parser keeps to their addresses
  mutable std::optional<Choice> choice_;  ///< once it has been asked for
  /// By origin, so that none is asked for twice when a target is opened anew.
  mutable std::map<std::string, std::shared_ptr<KeptPassword>> kept_;
  mutable std::string opening_;  ///< the target that asks
};

/// The kinds of target that the words of a command line name, before they are parsed.
[[nodiscard]] std::vector<std::string> KindsNamed(const std::vector<std::string>& words);

/// Opens the targets of a command, once its arguments are known to be right.
using TargetOpener = std::function<Planning::Mounts()>;

/// Shows every query to a server with --verbose, and as progress, and stops when the user has
/// interrupted the command.
[[nodiscard]] Planning::QueryObserver Watching(const Messages& messages,
                                               Progress* progress = nullptr);

}  // namespace Tool
