#include "tool/commands/Confirming.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <iterator>
#include <list>
#include <optional>
#include <thread>
#include <utility>

#include "common/ErrorManager.h"
#include "plan/Failure.h"
#include "plan/State.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Terminal.h"

namespace Tool {
namespace {

using Planning::Configuration;
using Planning::Confirmation;
using Planning::Server;

constexpr unsigned kLongestTime = 24 * 60 * 60;

/// Mounts the server again whose place another one has taken.
struct MountedAgain {
  const Server& server;
  ~MountedAgain() { MountTarget(server.Providers()); }
};

/// What the guard sees of queries; nobody interrupts it.
Planning::QueryObserver Logging(const Messages& messages) {
  Planning::QueryObserver observer;
  observer.onQuery = [&messages](const std::string& path) { messages.Detail("query " + path); };
  observer.onFailure = [](const std::string& /*path*/, const ResultStatus& /*failure*/) {};
  return observer;
}

/// Why a way back has failed.
struct Failed {
  std::string reason;
  bool isFinal = false;  ///< more tries would only have an account locked
};

/// One try over one way. \return nothing when it is done
std::optional<Failed> TakeBackOnce(const TargetOpener& open, const WayBack& way,
                                   const Messages& messages) {
  try {
    const Server server(open(), Logging(messages));
    if (!way.accounts.empty()) {
      for (const auto& [tree, mount] : server.Providers()) {
        mount.provider->UsePasswords(way.accounts);
      }
    }
    std::string failure = Planning::TakeBack(way.before, way.password, server);
    if (failure.empty()) return std::nullopt;
    return Failed{std::move(failure)};
  } catch (const ResultStatus& failure) {
    return Failed{failure.message(), failure.getval() == ErrorManager::NotPermitted};
  } catch (const std::exception& fault) {
    return Failed{fault.what()};
  }
}

}  // namespace

std::vector<std::chrono::seconds> UsualPauses() {
  using namespace std::chrono_literals;
  return {2s, 5s, 10s, 20s, 40s, 60s, 60s, 60s};
}

CLI::Option* AddConfirmOptions(CLI::App& command, ConfirmOptions& options) {
  CLI::Option* confirm =
      command
          .add_option("--confirm", options.seconds,
                      "Take it back unless somebody keeps it within this time: by \"keep\" on the "
                      "terminal, or by \"saverestore confirm\"")
          ->option_text("SECONDS")
          ->check(CLI::Range(1U, kLongestTime));
  command
      .add_option("--rescue", options.rescue,
                  "Another target that leads to the same server, to take it back over; not needed "
                  "for \"local\"")
      ->type_name("KIND:PLACE")
      ->allow_extra_args(false)
      ->needs(confirm);
  return confirm;
}

void ThrowIfGuarded(const Planning::History& history, const std::string& target,
                    const std::string& commandToConfirm) {
  for (const Planning::HistoryRecord& before : history.RecordsOf(target)) {
    if (!IsGuarded(BaseOf(before))) continue;
    throw ToolError(ExitFailed, before.command + " " + std::to_string(before.number) +
                                    " waits to be kept, or is being taken back; \"" +
                                    commandToConfirm + "\" keeps it; nothing was done");
  }
}

void CheckThatAWayStays(const ConfirmOptions& options, const std::vector<std::string>& targets) {
  if (options.rescue.empty()) {
    if (std::ranges::all_of(targets, [](const std::string& one) { return one == "local"; })) return;
    throw ToolError(ExitUsage,
                    "--confirm needs a way back that the write cannot cut: run it on the server "
                    "itself with --target local, or name another target of the same server with "
                    "--rescue; nothing was written");
  }
  for (const std::string& rescue : options.rescue) {
    if (std::ranges::find(targets, rescue) == targets.end()) continue;
    throw ToolError(ExitUsage, "--rescue " + rescue +
                                   " is the target itself, and no other way to it; nothing was "
                                   "written");
  }
}

void CheckRescue(const ConfirmOptions& options, const Planning::Plan& plan, const Server& server,
                 const Messages& messages) {
  if (options.rescue.empty()) return;
  messages.Detail("opening the rescue");
  std::string difference;
  try {
    const MountedAgain again{server};
    const Server rescue(options.openRescue(), Watching(messages));
    const Configuration there = PresentOf(rescue, plan.request.mode);
    difference = Planning::WhatTellsApart(plan.present, there);
  } catch (const ResultStatus& failure) {
    throw ToolError(ExitCodeOf(failure),
                    "the rescue is no way back: " + failure.message() + "; nothing was written");
  } catch (const Planning::Failure& failure) {
    throw ToolError(
        ExitCodeOf(failure.kind),
        "the rescue is no way back: " + std::string(failure.what()) + "; nothing was written");
  }
  if (difference.empty()) return;
  throw ToolError(ExitUsage, "the rescue is another server, or somebody is changing it: there " +
                                 difference + "; nothing was written");
}

std::string TakeBackOver(const WayBack& way, const Messages& messages) {
  std::string reason;
  std::list<TargetOpener> left(way.ways.begin(), way.ways.end());
  for (std::size_t round = 0; round <= way.pauses.size() && !left.empty(); ++round) {
    if (round > 0) std::this_thread::sleep_for(way.pauses[round - 1]);
    for (auto open = left.begin(); open != left.end();) {
      const std::optional<Failed> failed = TakeBackOnce(*open, way, messages);
      if (!failed) return "";
      messages.Warning("not taken back yet: " + failed->reason);
      if (reason.empty()) reason = failed->reason;
      open = failed->isFinal ? left.erase(open) : std::next(open);
    }
  }
  return reason;
}

std::string WhatIsWrong(const Planning::Plan& plan, const Planning::Report& report,
                        const TargetOpener& openTarget, const Messages& messages) {
  if (report.silence) return "the target does not answer: " + report.silence->message();
  try {
    const Server anew(openTarget(), Watching(messages));
    const Configuration now = PresentOf(anew, plan.request.mode);
    const std::string turned = Planning::WhatHasTurned(plan.changes, report.present, now);
    return turned.empty() ? "" : "the target, opened anew, answers otherwise: " + turned;
  } catch (const Interrupted&) {
    throw;
  } catch (const ResultStatus& failure) {
    return "the target, opened anew, does not answer: " + failure.message();
  } catch (const std::exception& fault) {
    return std::string("the target cannot be opened anew: ") + fault.what();
  }
}

Confirmation AwaitKeeping(const Guard& guard, unsigned seconds, const std::string& command,
                          const Messages& messages) {
  std::unique_ptr<Terminal> terminal = Terminal::Open();
  const std::string how = "It is written, and the target answers. It is taken back unless within " +
                          Counted(seconds, "second") + " somebody ";
  const std::string elsewhere = "runs\n  " + command + "\n";
  if (terminal) {
    terminal->Say(how + "types \"keep\" here, or\n" + elsewhere + "[keep/undo] ");
  } else {
    messages.Note(how + elsewhere);
  }
  for (;;) {
    const std::array<int, 2> both = {guard.Descriptor(), terminal ? terminal->Descriptor() : -1};
    if (WaitForInput(both) == guard.Descriptor()) break;
    const std::optional<std::string> answer = terminal->Answer();
    if (!answer) {
      terminal.reset();  // whoever sat there is gone
    } else if (*answer == "keep") {
      guard.Keep();
      break;
    } else if (*answer == "undo") {
      guard.TakeBack("it was asked for");
      break;
    } else {
      terminal->Say("[keep/undo] ");
    }
  }
  return AwaitTakingBack(guard, messages);
}

Confirmation AwaitTakingBack(const Guard& guard, const Messages& messages) {
  return guard.Await(
      [&](const std::string& reason) { messages.Warning("it is being taken back: " + reason); });
}

}  // namespace Tool
