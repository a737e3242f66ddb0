#include "tool/commands/RestoreCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <set>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "plan/Backup.h"
#include "plan/Document.h"
#include "plan/PasswordCheck.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/Verification.h"
#include "plan/Write.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Consent.h"
#include "tool/render/TextDifference.h"
#include "tool/render/TextPlan.h"
#include "tool/render/TextReport.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Progress.h"
#include "tool/terminal/UserPasswords.h"

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
  if (!request.userPasswordFile.empty()) {
    command += " --user-password-file " + ShellWord(request.userPasswordFile);
  }
  return command + " " + ShellWord(backup);
}

/// What a restore knows and must not leave behind.
struct Secrets {
  std::string password;      ///< of the BIOS administrator
  SDK::SettingMap accounts;  ///< of accounts of the BMC, by name

  Secrets() = default;
  Secrets(const Secrets&) = delete;
  Secrets& operator=(const Secrets&) = delete;
  ~Secrets() {
    Common::Wipe(password);
    Common::Wipe(accounts);
  }
};

void UseAccounts(const SDK::SettingMap& accounts, const Server& server) {
  for (const auto& [tree, mount] : server.Providers()) mount.provider->UsePasswords(accounts);
}

/// Has a password for each account that the plan opens: one that is open with a password which
/// nobody here knows is worse than none.
void RequireAccounts(Plan& plan, const Server& server, Secrets& secrets) {
  std::set<std::string> names;
  for (const SDK::WriteForesight& foreseen : plan.foresight) {
    if (foreseen.kind != SDK::WriteForesight::Kind::NeedsPassword) continue;
    if (!Terminal::Open()) {
      throw ToolError(ExitUsage, plan.present.NameOf(foreseen.path) + ": " + foreseen.text +
                                     "; give its password with --user-password-file; nothing was "
                                     "written");
    }
    names.insert(foreseen.account);
  }
  if (names.empty()) return;
  AskUserPasswords(names, secrets.accounts);
  UseAccounts(secrets.accounts, server);
  SDK::SettingMap settings;
  for (const Planning::RecordedWrite& write : plan.writes) {
    const bool isChange =
        std::ranges::find(plan.changes, write.path, &Planning::Change::path) != plan.changes.end();
    if (isChange) settings.insert_or_assign(write.path, write.value);
  }
  plan.foresight = server.Foresee(settings);
}

/// Refuses a plan that the file or the target is not fit for.
void ThrowIfRefused(const Plan& plan, const Messages& messages) {
  ShowRefusal(plan, messages);
  if (!plan.IsRefused()) return;
  if (HasErrors(plan.findings)) {
    throw ToolError(ExitBadInput, "the file does not fit this target; nothing was written");
  }
  throw ToolError(ExitDifferent,
                  "the file has names that this target does not know; --ignore-unknown passes over "
                  "them; nothing was written");
}

/// One restore, stage by stage.
class Restore {
 public:
  Restore(const RestoreRequest& request, const Server& server, Progress& progress,
          const Messages& messages)
      : request_(request), server_(server), progress_(progress), messages_(messages) {}

  /// \return the exit code.
  int Run(const Planning::Request& wanted, Secrets& secrets) {
    progress_.Begin("reading the target");
    Plan plan = Planning::MakePlan(wanted, server_);
    queriesOfPlan_ = server_.Queries();
    progress_.End();
    ThrowIfRefused(plan, messages_);
    if (request_.dryRun) return ShowDryRun(plan);
    if (plan.changes.empty()) return SayThatNothingChanges(plan);
    const bool isPlanShown = !request_.json && !messages_.IsQuiet();
    const Consent consent(plan, {request_.yes, request_.allowLockout, isPlanShown});
    Planning::CheckAdminPassword(plan, secrets.password, server_);
    RequireAccounts(plan, server_, secrets);
    Planning::Saved backup;
    if (!request_.noBackup) backup = Backup(plan);
    if (!request_.json) ShowPlan(plan, false, messages_);  // the report will be the one document
    consent.Ask(messages_);
    const std::vector<Planning::Change> changed = Planning::ChangedSince(plan.changes);
    server_.ThrowIfSilent();
    consent.AskAgain(changed, messages_);
    ThrowIfInterrupted();
    try {
      return WriteAndReport(plan, backup, secrets);
    } catch (const Interrupted&) {
      throw ToolError(ExitFailed, "interrupted; what was written before stays written");
    }
  }

 private:
  int ShowDryRun(const Plan& plan) {
    if (request_.json) {
      messages_.Document(Planning::DryRunDocument(plan));
    } else {
      ShowPlan(plan, true, messages_);
    }
    return ExitDone;
  }

  int SayThatNothingChanges(const Plan& plan) {
    Planning::Written nothing;
    nothing.skipped = plan.skipped;
    const int exitCode = Report(plan, {}, nothing);
    if (!request_.json) messages_.Result("Nothing would change, so nothing was written.");
    return exitCode;
  }

  /// Saves the machine's present configuration and says how to go back.
  Planning::Saved Backup(const Plan& plan) {
    const unsigned before = server_.Queries();
    progress_.Begin("saving the present configuration");
    Planning::Saved backup = Planning::SaveBackup(plan, request_.backupDir, server_);
    progress_.End();
    queriesOfSave_ = server_.Queries() - before;
    for (const std::string& text : backup.warnings) messages_.Warning(text);
    ThrowIfInterrupted();
    messages_.Note("The present configuration is saved. To go back:\n  " +
                   CommandBack(request_, plan.request.mode, backup.file));
    return backup;
  }

  int WriteAndReport(const Plan& plan, const Planning::Saved& backup, const Secrets& secrets) {
    // A restore asks what its rehearsal has asked; reading again asks what a save does.
    progress_.Begin("writing", queriesOfSave_ == 0 ? 0 : queriesOfPlan_ - queriesOfSave_);
    const Planning::Written written = Planning::Write(plan, secrets.password, server_);
    return Report(plan, backup, written);
  }

  /// Reads the machine again and reports.
  int Report(const Plan& plan, const Planning::Saved& backup, const Planning::Written& written) {
    progress_.Begin("reading the target again", queriesOfSave_);
    const Planning::Report report = Planning::ReportOf(plan, written, server_);
    const std::vector<SDK::BootMessage> waiting = Planning::WaitingFromBefore(plan, server_);
    progress_.End();
    if (request_.json) {
      messages_.Document(Planning::RestoreDocument(plan, backup, written, report));
    } else {
      ShowReport(plan, written, report, messages_);
    }
    for (const SDK::BootMessage& message : waiting) {
      messages_.Warning("from an earlier change, of " + report.present.NameOf(message.path) + ", " +
                        message.text);
    }
    if (report.silence) throw ResultStatus(*report.silence);
    if (written.failure && written.failure->getval() != ErrorManager::WritesRefused) {
      throw ResultStatus(*written.failure);
    }
    if (request_.reboot && report.Count(Planning::Outcome::Pending) > 0) {
      return RestartAndVerify(plan);
    }
    return report.IsAsWanted() ? ExitDone : ExitDifferent;
  }

  /// Has what waits take effect, and shows what has. With --json the report was the one document.
  int RestartAndVerify(const Plan& plan) {
    RestartServer(server_, request_.force, std::chrono::seconds(kRestartSeconds), messages_);
    progress_.Begin("reading the target again", queriesOfSave_);
    const Planning::Verification verification =
        Planning::Verify(plan.request.wanted, plan.request.mode, server_);
    progress_.End();
    if (!request_.json) ShowVerification(verification, messages_);
    return verification.missed.empty() ? ExitDone : ExitDifferent;
  }

  const RestoreRequest& request_;
  const Server& server_;
  Progress& progress_;
  const Messages& messages_;
  unsigned queriesOfPlan_ = 0;
  unsigned queriesOfSave_ = 0;  ///< 0 without a backup
};

}  // namespace

int RunRestore(const RestoreRequest& request, const Messages& messages) {
  const Planning::Request wanted = PlanRequest(request);
  Secrets secrets;
  if (!request.dryRun) {
    ReadPassword(request.password, Planning::kLongestAdminPassword, secrets.password);
  }
  if (!request.userPasswordFile.empty()) {
    ReadUserPasswords(request.userPasswordFile, secrets.accounts);
  }
  Progress progress(messages);
  const Server server(request.openTarget(), Watching(messages, &progress));
  if (!secrets.accounts.empty()) UseAccounts(secrets.accounts, server);
  return Restore(request, server, progress, messages).Run(wanted, secrets);
}

void AddRestore(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RestoreRequest>();
  AddFile(command, request->file, "The file to restore");
  AddMode(command, request->mode,
          "What to restore: bios (with the boot order), bmc, or all; default: what FILE "
          "holds");
  CLI::Option* file =
      command.add_option("--password-file", request->password.file,
                         "Read the BIOS administrator password from the first line of this file");
  CLI::Option* descriptor = command.add_option("--password-fd", request->password.descriptor,
                                               "Read it from this open file descriptor");
  CLI::Option* ask =
      command.add_flag("--ask-password", request->password.ask, "Ask for it on the terminal");
  file->type_name("FILE")->excludes(descriptor)->excludes(ask);
  descriptor->type_name("N")->excludes(ask);
  command
      .add_option("--user-password-file", request->userPasswordFile,
                  "Passwords of accounts that the restore opens, as lines NAME:PASSWORD; "
                  "default: ask on the terminal")
      ->type_name("FILE");
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
  command
      .add_option("--backup-dir", request->backupDir,
                  "Where the present configuration is saved; default: beside FILE")
      ->type_name("DIR");
  command.add_flag("--yes", request->yes, "Do not ask; without a terminal it must be given");
  command.add_flag("--allow-lockout", request->allowLockout,
                   "Write also what cuts off the way to the target, without asking");
  command.add_flag("--json", request->json, "Report as JSON");
  auto* reboot = command.add_flag("--reboot", request->reboot,
                                  "Restart the server where settings wait for that, and verify");
  command.add_flag("--force", request->force, "That restart does not ask the operating system")
      ->needs(reboot);
  command.footer(
      "Checks FILE, saves the present configuration into a dated file, shows what will\n"
      "change, asks on the terminal, restores, and reports what became of each setting.\n"
      "When nothing would change, nothing is written.\n\n"
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
