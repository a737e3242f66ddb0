#include "tool/commands/Keeping.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>

#include "common/Descriptor.h"
#include "tool/ExitCodes.h"
#include "tool/commands/FurtherCommands.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

/// Keeps others from starting a guard of the same history.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder)
      : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (flock(folder_.Get(), LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock() { flock(folder_.Get(), LOCK_UN); }  // the guard has it open for a moment, too

 private:
  Common::Descriptor folder_;
};

}  // namespace

void Keeping::Warn(const Planning::Plan& plan) const {
  if (!options_.confirm.IsWanted()) return;
  for (const SDK::WriteForesight& foreseen : plan.foresight) {
    if (foreseen.kind != SDK::WriteForesight::Kind::OpensAccount) continue;
    messages_.Warning("the password that \"" + foreseen.account +
                      "\" is given stays when this is taken back");
  }
}

void Keeping::ThrowIfAnotherWaits() const {
  ThrowIfGuarded(history_, record_.target, CommandToConfirm(options_));
}

void Keeping::Start(const std::vector<Planning::Layer>& before, const std::string& adminPassword,
                    const SDK::SettingMap& accounts, const Note& note) {
  Watch watch;
  watch.base = BaseOf(record_);
  watch.time = std::chrono::seconds(options_.confirm.seconds);
  watch.longestWrite = options_.confirm.longestWrite;
  watch.takeBack = [this, before, &adminPassword, &accounts] {
    WayBack way{{}, options_.confirm.pauses, before, adminPassword, accounts};
    if (!options_.confirm.rescue.empty()) way.ways.push_back(options_.confirm.openRescue);
    way.ways.push_back(options_.openTarget);
    return TakeBackOver(way, messages_);
  };
  watch.record = note;
  // Two writes at a time may have looked before either had its guard.
  const FolderLock lock(history_.Folder());
  ThrowIfAnotherWaits();
  guard_.emplace(watch);
  if (guard_->Warning().empty()) return;
  messages_.Warning(
      "the process that takes this back ends with your login where logging out ends all processes "
      "of a user: " +
      guard_->Warning());
}

void Keeping::Written(const std::string& outcome) const {
  if (guard_) guard_->Written(outcome);
}

Planning::Confirmation Keeping::Settle(const Planning::Plan& plan, const Planning::Report& report,
                                       Progress& progress, unsigned queriesOfSave) const {
  const std::string command = CommandToConfirm(options_);
  try {
    progress.Begin("opening the target anew", queriesOfSave);
    const std::string wrong = WhatIsWrong(plan, report, options_.openTarget, messages_);
    progress.End();
    if (wrong.empty()) {
      guard_->Answers();
      return AwaitKeeping(*guard_, options_.confirm.seconds, command, messages_);
    }
    guard_->TakeBack(wrong);
    return AwaitTakingBack(*guard_, messages_);
  } catch (const Interrupted&) {
    throw ToolError(ExitFailed, "interrupted; what was written is taken back within " +
                                    Counted(options_.confirm.seconds, "second") + " unless \"" +
                                    command + "\" keeps it; what comes of it is in " +
                                    BaseOf(record_) + ".log");
  }
}

Planning::Confirmation Keeping::TakeBack() const {
  guard_->TakeBack("it was interrupted");
  return AwaitTakingBack(*guard_, messages_);
}

int Keeping::Tell(const Planning::Confirmation& confirmation) const {
  using Outcome = Planning::Confirmation::Outcome;
  if (confirmation.outcome == Outcome::Kept) {
    messages_.Note("Kept.");
    return ExitDone;
  }
  if (confirmation.outcome == Outcome::TakenBack) {
    messages_.Error("taken back: " + confirmation.reason + "; the target is as it was before");
    return ExitTakenBack;
  }
  messages_.Error("NOT taken back, though " + confirmation.reason + ": " + confirmation.failure);
  messages_.Error("the target may have the new settings, or some of them. To go back by hand:");
  for (const std::string& command : CommandsByHand(options_, record_)) {
    messages_.Error("  " + command);
  }
  return ExitNotTakenBack;
}

}  // namespace Tool
