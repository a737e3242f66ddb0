#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "plan/Confirmation.h"
#include "plan/History.h"
#include "plan/Layers.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "tool/guard/Guard.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

// A write that somebody has to keep (`--confirm`), as the commands that write see it.

namespace Tool {

/// Between the tries to take a write back: a server that restarts comes back.
[[nodiscard]] std::vector<std::chrono::seconds> UsualPauses();

/// How a write is to be kept.
struct ConfirmOptions {
  unsigned seconds = 0;             ///< within which it is; 0: it need not be
  std::vector<std::string> rescue;  ///< other targets that lead to the same server
  TargetOpener openRescue;
  std::chrono::seconds longestWrite{15 * 60};  ///< a tool that takes longer stands still
  std::vector<std::chrono::seconds> pauses = UsualPauses();

  [[nodiscard]] bool IsWanted() const { return seconds != 0; }
};

/// Adds the options to a command. \return the option --confirm
CLI::Option* AddConfirmOptions(CLI::App& command, ConfirmOptions& options);

/// What waits to be kept would be mixed up with what comes on top of it.
/// \throws ToolError  something does.
void ThrowIfGuarded(const Planning::History& history, const std::string& target,
                    const std::string& commandToConfirm);

/// A way back that the write may cut is none: it takes the machine itself, or a rescue.
/// \throws ToolError  usage: no way stays.
void CheckThatAWayStays(const ConfirmOptions& options, const std::vector<std::string>& targets);

/// Opens the rescue, and sees that all that is planned for `server` can be taken back over it.
/// \throws ToolError, ResultStatus  that is not so; nothing is written.
void CheckRescue(const ConfirmOptions& options, const Planning::Plan& plan,
                 const Planning::Server& server, const Messages& messages);

/// What it takes to bring back the state in a file.
struct WayBack {
  std::vector<TargetOpener> ways;            ///< tried in turn
  std::vector<std::chrono::seconds> pauses;  ///< before they are tried once more
  /// In memory, so that neither a full disk nor a lost file keeps anybody from going back.
  std::vector<Planning::Layer> before;
  const std::string& password;  ///< of the BIOS administrator; outlives this, as `accounts`
  const SDK::SettingMap& accounts;
};

/// Brings it back over the first way that works.
/// \return why none does; empty when it is done.
[[nodiscard]] std::string TakeBackOver(const WayBack& way, const Messages& messages);

/// Opens the target anew and compares what was written with what it shows.
/// \return what is wrong: a part of a sentence, empty when nothing is. \throws Interrupted
[[nodiscard]] std::string WhatIsWrong(const Planning::Plan& plan, const Planning::Report& report,
                                      const TargetOpener& openTarget, const Messages& messages);

/// Waits until somebody keeps the write, at the terminal or by `command` elsewhere, or it is taken
/// back. \throws Interrupted  the guard waits on.
[[nodiscard]] Planning::Confirmation AwaitKeeping(const Guard& guard, unsigned seconds,
                                                  const std::string& command,
                                                  const Messages& messages);

/// Waits until it is taken back.
[[nodiscard]] Planning::Confirmation AwaitTakingBack(const Guard& guard, const Messages& messages);

}  // namespace Tool
