#include "tool/commands/RestoreCommand.h"

#include <unistd.h>

#include <iostream>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "plan/Backup.h"
#include "plan/Document.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/Write.h"
#include "tool/ExitCodes.h"
#include "tool/render/TextPlan.h"
#include "tool/render/TextReport.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

using Planning::Plan;
using Planning::Server;

Planning::Request PlanRequest(const RestoreRequest& request) {
  Planning::Request wanted = Planning::RequestOfFile(request.file, request.mode);
  wanted.skipSystemCheck = request.skipSystemCheck;
  wanted.skipBootOrder = request.skipBootOrder;
  return wanted;
}

/// `text` as a word of a shell command.
std::string ShellWord(const std::string& text) {
  constexpr const char* kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:,@%+=";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char character : text) word += character == '\'' ? "'\\''" : std::string(1, character);
  return word + "'";
}

/// The command that restores `backup` the way the request restores its file.
std::string CommandBack(const RestoreRequest& request, Planning::Mode mode,
                        const std::string& backup) {
  std::string command = "saverestore";
  for (const std::string& text : request.targets) command += " --target " + ShellWord(text);
  for (const std::string& word : request.targetWords) command += " " + ShellWord(word);
  command += std::string(" restore --mode ") + NameOf(mode);
  if (request.skipSystemCheck) command += " --skip-system-check";
  if (!request.password.file.empty()) {
    command += " --password-file " + ShellWord(request.password.file);
  } else if (request.password.ask || request.password.descriptor >= 0) {
    command += " --ask-password";
  }
  return command + " " + ShellWord(backup);
}

/// Saves the machine's present configuration and says how to go back.
Planning::Saved Backup(const RestoreRequest& request, const Plan& plan, const Server& server,
                       const Messages& messages) {
  Planning::Saved backup = Planning::SaveBackup(plan, request.backupDir, server);
  for (const std::string& text : backup.warnings) messages.Warning(text);
  ThrowIfInterrupted();
  messages.Note("The present configuration is saved. To go back:\n  " +
                CommandBack(request, plan.request.mode, backup.file));
  return backup;
}

void AskForConsent(const RestoreRequest& request, const Planning::Plan& plan) {
  if (request.yes || plan.changes.empty() || isatty(STDIN_FILENO) != 1) return;
  std::cerr << "Write them? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "Y" && answer != "yes") {
    throw ToolError(ExitFailed, "not confirmed; nothing was written");
  }
}

/// Writes, reads the machine again, reports. \return the exit code.
int WriteAndReport(const RestoreRequest& request, const Plan& plan, const Planning::Saved& backup,
                   const std::string& password, const Server& server, const Messages& messages) {
  const Planning::Written written = Planning::Write(plan, password, server);
  const Planning::Report report = Planning::ReportOf(plan, written, server);
  if (report.silence) {
    ShowSilence(written, messages);
    throw ResultStatus(*report.silence);
  }
  if (request.json) {
    messages.Document(Planning::RestoreDocument(plan, backup, written, report));
  } else {
    ShowReport(report, written, messages);
  }
  for (const SDK::BootMessage& message : Planning::WaitingFromBefore(plan, server)) {
    messages.Warning("from an earlier change, of " + report.present.NameOf(message.path) + ", " +
                     message.text);
  }
  if (written.failure && written.failure->getval() != ErrorManager::WritesRefused) {
    throw ResultStatus(*written.failure);
  }
  return report.Count(Planning::Outcome::NotApplied) == 0 ? ExitDone : ExitDifferent;
}

}  // namespace

int RunRestore(const RestoreRequest& request, const Messages& messages) {
  const Planning::Request wanted = PlanRequest(request);
  std::string password;
  const Common::WipeOnExit wipe(password);
  if (!request.dryRun) ReadPassword(request.password, Planning::kLongestAdminPassword, password);
  const Server server(request.openTarget(), Watching(messages));
  const Plan plan = Planning::MakePlan(wanted, server);
  ShowRefusal(plan, messages);
  if (plan.IsRefused()) {
    throw ToolError(ExitBadInput, "the file does not fit this target; nothing was written");
  }
  if (request.dryRun) {
    if (request.json) {
      messages.Document(Planning::DryRunDocument(plan));
    } else {
      ShowPlan(plan, true, messages);
    }
    return ExitDone;
  }
  Planning::Saved backup;
  if (!request.noBackup) backup = Backup(request, plan, server, messages);
  if (!request.json) ShowPlan(plan, false, messages);  // the report will be the one document
  AskForConsent(request, plan);
  ThrowIfInterrupted();
  try {
    return WriteAndReport(request, plan, backup, password, server, messages);
  } catch (const Interrupted&) {
    throw ToolError(ExitFailed, "interrupted; what was written before stays written");
  }
}

}  // namespace Tool
