#include "tool/commands/Consent.h"

#include <unistd.h>

#include <algorithm>

#include "tool/ExitCodes.h"
#include "tool/render/TextPlan.h"

namespace Tool {
namespace {

using Planning::Change;
using Planning::Plan;

bool LocksOut(const Plan& plan) {
  return std::ranges::any_of(plan.foresight, [](const SDK::WriteForesight& foreseen) {
    return foreseen.kind == SDK::WriteForesight::Kind::LocksOut;
  });
}

}  // namespace

Consent::Consent(const Plan& plan, const ConsentOptions& options)
    : plan_(plan), options_(options), locksOut_(LocksOut(plan)), terminal_(Terminal::Open()) {
  if (terminal_) return;
  if (!options.isGiven) {
    throw ToolError(ExitUsage,
                    "there is no terminal to ask for consent; look at the changes with --dry-run, "
                    "then give --yes; nothing was written");
  }
  if (locksOut_ && !options.allowsLockout) {
    for (const SDK::WriteForesight& foreseen : plan.foresight) {
      if (foreseen.kind != SDK::WriteForesight::Kind::LocksOut) continue;
      throw ToolError(ExitUsage, "this restore would cut off the way to the target: " +
                                     plan.present.NameOf(foreseen.path) + ": " + foreseen.text +
                                     "; --allow-lockout permits that; nothing was written");
    }
  }
}

void Consent::Ask(const Messages& messages) const {
  const bool isLockout = locksOut_ && !options_.allowsLockout;
  if (!terminal_ || (options_.isGiven && !isLockout)) return;
  if (!options_.isPlanShown || isatty(STDOUT_FILENO) != 1) {
    terminal_->Say(TextOf(plan_, false, StyleFor(terminal_->Descriptor(), messages.IsVerbose())));
  }
  Question(isLockout ? "This may cut off the way to the target. Write them?" : "Write them?");
}

void Consent::AskAgain(const std::vector<Change>& changes, const Messages& messages) const {
  for (const Change& change : changes) {
    messages.Warning(change.Name() + " has changed since the plan was made; it is " +
                     Shown(change.from, change.fromText) + " now");
  }
  if (changes.empty()) return;
  if (options_.isGiven || !terminal_) {
    throw ToolError(ExitFailed,
                    "somebody else is changing this target, and consent was to the plan alone; "
                    "nothing was written; run it again");
  }
  Question("Somebody else is changing this target. Write all the same?");
}

void Consent::Question(const std::string& text) const {
  if (!terminal_->Confirms(text)) {
    throw ToolError(ExitFailed, "not confirmed; nothing was written");
  }
}

}  // namespace Tool
