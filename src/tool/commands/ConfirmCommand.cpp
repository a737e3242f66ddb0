#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "plan/History.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Writing.h"
#include "tool/guard/Guard.h"

namespace Tool {
namespace {

/// What `saverestore confirm` is asked to do.
struct ConfirmRequest {
  std::string backupDir;
  bool undo = false;
};

int RunConfirm(const ConfirmRequest& request, const std::vector<std::string>& targets,
               const Messages& messages) {
  if (targets.empty()) throw ToolError(ExitUsage, "no --target is given: whose write?");
  const Planning::History history(HistoryFolderOf(targets, request.backupDir));
  const std::string target = JoinedTargets(targets);
  std::string last;
  for (const Planning::HistoryRecord& record : history.RecordsOf(target)) {
    last = "; the last one, " + record.command + " " + std::to_string(record.number) +
           ", is noted as: " + record.outcome;
    if (!IsGuarded(BaseOf(record))) continue;
    const Planning::Confirmation end = TellGuard(BaseOf(record), !request.undo);
    messages.Result(record.command + " " + std::to_string(record.number) + ": " +
                    (end.reason.empty() ? "kept" : TextOf(end)));
    if (end.outcome == Planning::Confirmation::Outcome::NotTakenBack) return ExitNotTakenBack;
    const bool isKept = end.outcome == Planning::Confirmation::Outcome::Kept;
    return isKept != request.undo ? ExitDone : ExitDifferent;
  }
  throw ToolError(ExitNoInput, "no write to this target waits to be kept" + last);
}

}  // namespace

void AddConfirm(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ConfirmRequest>();
  AddBackupDir(command, request->backupDir);
  command.add_flag("--undo", request->undo, "Take it back now");
  command.footer(
      "A restore, apply or undo with --confirm waits for this, or for \"keep\" on its own\n"
      "terminal. To be run on the machine that it runs on, with the same --target.\n\n"
      "Example:\n"
      "  saverestore --target local confirm\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      return RunConfirm(*request, globals.targets.Names(), messages);
    };
  });
}

}  // namespace Tool
