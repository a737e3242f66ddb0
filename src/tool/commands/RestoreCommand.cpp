#include "tool/commands/RestoreCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "plan/Backup.h"
#include "plan/Document.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/Verification.h"
#include "plan/Write.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/render/TextDifference.h"
#include "tool/render/TextPlan.h"
#include "tool/render/TextReport.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Question.h"

namespace Tool {
namespace {

using Planning::Plan;
using Planning::Server;

Planning::Request PlanRequest(const RestoreRequest& request) {
  Planning::Request wanted = Planning::RequestOfFile(request.file, request.mode);
  wanted.skipSystemCheck = request.skipSystemCheck;
  wanted.skipBootOrder = request.skipBootOrder;
  wanted.keepsGoing = request.keepsGoing;
  wanted.ignoresUnknown = request.ignoresUnknown;
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

/// Has what waits take effect, and shows what has. With --json the report was the one document.
int RestartAndVerify(const RestoreRequest& request, const Plan& plan, const Server& server,
                     const Messages& messages) {
  RestartServer(server, request.force, std::chrono::seconds(kRestartSeconds), messages);
  const Planning::Verification verification =
      Planning::Verify(plan.request.wanted, plan.request.mode, server);
  if (!request.json) ShowVerification(verification, messages);
  return verification.missed.empty() ? ExitDone : ExitDifferent;
}

/// Writes, reads the machine again, reports. \return the exit code.
int WriteAndReport(const RestoreRequest& request, const Plan& plan, const Planning::Saved& backup,
                   const std::string& password, const Server& server, const Messages& messages) {
  const Planning::Written written = Planning::Write(plan, password, server);
  const Planning::Report report = Planning::ReportOf(plan, written, server);
  if (request.json) {
    messages.Document(Planning::RestoreDocument(plan, backup, written, report));
  } else {
    ShowReport(report, written, messages);
  }
  for (const SDK::BootMessage& message : Planning::WaitingFromBefore(plan, server)) {
    messages.Warning("from an earlier change, of " + report.present.NameOf(message.path) + ", " +
                     message.text);
  }
  if (report.silence) throw ResultStatus(*report.silence);
  if (written.failure && written.failure->getval() != ErrorManager::WritesRefused) {
    throw ResultStatus(*written.failure);
  }
  if (!request.reboot || report.Count(Planning::Outcome::Pending) == 0) {
    return report.IsAsWanted() ? ExitDone : ExitDifferent;
  }
  return RestartAndVerify(request, plan, server, messages);
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
    throw HasErrors(plan.findings)
        ? ToolError(ExitBadInput, "the file does not fit this target; nothing was written")
        : ToolError(
              ExitDifferent,
              "the file has names that this target does not know; --ignore-unknown passes over "
              "them; nothing was written");
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
  if (!request.yes && !plan.changes.empty() && !Confirms("Write them?")) {
    throw ToolError(ExitFailed, "not confirmed; nothing was written");
  }
  ThrowIfInterrupted();
  try {
    return WriteAndReport(request, plan, backup, password, server, messages);
  } catch (const Interrupted&) {
    throw ToolError(ExitFailed, "interrupted; what was written before stays written");
  }
}

void AddRestore(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RestoreRequest>();
  AddFile(command, request->file, "The file to restore");
  AddMode(command, request->mode,
          "What to restore: bios (with the boot order), bmc, or all; default: what FILE "
          "holds");
  auto* password = command.add_option_group("password");
  password->add_option("--password-file", request->password.file,
                       "Read the BIOS administrator password from the first line of this file");
  password->add_option("--password-fd", request->password.descriptor,
                       "Read it from this open file descriptor");
  password->add_flag("--ask-password", request->password.ask, "Ask for it on the terminal");
  password->require_option(0, 1);
  command.add_flag("--skip-system-check", request->skipSystemCheck,
                   "Do not compare [SYSTEM] with the target");
  command.add_flag("--skip-boot-order", request->skipBootOrder,
                   "Leave the boot order and the hard-disk order alone");
  command.add_flag("--keep-going", request->keepsGoing,
                   "Restore the rest where the target cannot take some values");
  command.add_flag("--ignore-unknown", request->ignoresUnknown,
                   "Pass over sections and keys that the target does not know");
  command.add_flag("--dry-run", request->dryRun, "Show what would be written, and write nothing");
  command.add_flag("--no-backup", request->noBackup, "Do not save the present configuration first");
  command.add_option("--backup-dir", request->backupDir,
                     "Where the present configuration is saved; default: beside FILE");
  command.add_flag("--yes", request->yes, "Do not ask");
  command.add_flag("--json", request->json, "Report as JSON");
  auto* reboot = command.add_flag("--reboot", request->reboot,
                                  "Restart the server where settings wait for that, and verify");
  command.add_flag("--force", request->force, "That restart does not ask the operating system")
      ->needs(reboot);
  command.footer(
      "Checks FILE, saves the present configuration into a dated file, shows what will\n"
      "change, asks on a terminal, restores, and reports what became of each setting.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json restore --dry-run server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      request->targets = globals.targets.Names();
      request->targetWords = globals.targets.GivenOptions();
      return RunRestore(*request, messages);
    };
  });
}

}  // namespace Tool
