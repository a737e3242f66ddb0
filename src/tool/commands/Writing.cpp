#include "tool/commands/Writing.h"

#include <chrono>
#include <optional>
#include <set>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "plan/Backup.h"
#include "plan/Document.h"
#include "plan/History.h"
#include "plan/KeptPlan.h"
#include "plan/Layers.h"
#include "plan/PasswordCheck.h"
#include "plan/Plan.h"
#include "plan/Report.h"
#include "plan/State.h"
#include "plan/Verification.h"
#include "plan/Write.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Consent.h"
#include "tool/commands/FurtherCommands.h"
#include "tool/commands/Keeping.h"
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
  for (const Planning::Change& change : plan.changes) settings.emplace(change.path, change.to);
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

/// Refuses to carry out what was shown to somebody when it is no longer what would be done.
void ThrowIfStale(const WriteOptions& options, const Plan& plan, const Messages& messages) {
  if (options.keptPlan == nullptr) return;
  const std::vector<std::string> differences =
      DifferencesSince(*options.keptPlan, plan, JoinedTargets(options.targets));
  for (const std::string& text : differences) messages.Error(plan.request.name + ": " + text);
  if (differences.empty()) return;
  throw ToolError(ExitBadInput, "the plan does not hold any more; nothing was written");
}

/// One write, stage by stage.
class Stages {
 public:
  Stages(const WriteOptions& options, const Server& server, Progress& progress,
         const Messages& messages)
      : options_(options), server_(server), progress_(progress), messages_(messages) {}

  /// \return the exit code.
  int Run(const RequestMaker& make, Secrets& secrets) {
    progress_.Begin("reading the target");
    Plan plan = Planning::MakePlan(make(server_), server_);
    queriesOfPlan_ = server_.Queries();
    progress_.End();
    ThrowIfStale(options_, plan, messages_);
    ThrowIfRefused(plan, messages_);
    if (options_.confirm.IsWanted() && !plan.changes.empty()) {
      CheckRescue(options_.confirm, plan, server_, messages_);
    }
    if (options_.dryRun) return ShowDryRun(plan);
    const bool isMoreLater = options_.reboot && plan.NeedingRestart() > 0;
    if (plan.changes.empty() && !isMoreLater) return SayThatNothingChanges(make, plan, secrets);
    Describe(plan);
    const bool isPlanShown = !options_.json && !messages_.IsQuiet();
    const Consent consent(plan, {options_.yes, options_.allowLockout, isPlanShown});
    Planning::CheckAdminPassword(plan, secrets.password, server_);
    RequireAccounts(plan, server_, secrets);
    keeping_.ThrowIfAnotherWaits();
    Planning::Saved backup;
    if (!options_.noBackup) backup = Backup(plan);
    if (!options_.json) ShowPlan(plan, false, messages_);  // the report will be the one document
    keeping_.Warn(plan);
    GetReady(plan, consent, secrets);
    try {
      return WriteAndReport(make, plan, backup, secrets);
    } catch (const Interrupted&) {
      if (keeping_.IsOn()) return keeping_.Tell(keeping_.TakeBack());
      Record("interrupted");
      throw ToolError(ExitFailed, "interrupted; what was written before stays written");
    }
  }

 private:
  static const char* OutcomeOf(bool isAsWanted) {
    return isAsWanted ? "done" : "some settings were not applied";
  }

  int ShowDryRun(const Plan& plan) {
    if (!options_.planOut.empty()) KeepPlan(plan);
    if (options_.json) {
      messages_.Document(Planning::DryRunDocument(plan));
    } else {
      ShowPlan(plan, true, messages_);
    }
    if (!options_.planOut.empty()) {
      messages_.Note("The plan is kept as " + options_.planOut + "; apply --plan carries it out.");
    }
    return ExitDone;
  }

  void KeepPlan(const Plan& plan) {
    Common::AtomicFile file(options_.planOut);
    file.Write(Planning::PlanDocument(Planning::KeptPlanOf(plan, JoinedTargets(options_.targets),
                                                           SAVERESTORE_VERSION)) +
               "\n");
    file.Commit(Common::AtomicFile::Existing::Keep);
  }

  int SayThatNothingChanges(const RequestMaker& make, const Plan& plan, const Secrets& secrets) {
    Planning::Written nothing;
    nothing.skipped = plan.skipped;
    const Planning::Saved noBackup = {};
    const int exitCode = Report(plan, nothing, &noBackup);
    if (!options_.json) messages_.Result("Nothing would change, so nothing was written.");
    if (options_.reboot && isPending_) return RestartAndVerify(make, plan, secrets);
    return exitCode;
  }

  /// What history and journal will say of this write.
  void Describe(const Plan& plan) {
    record_.command = options_.command;
    record_.target = JoinedTargets(options_.targets);
    record_.version = SAVERESTORE_VERSION;
    record_.files = plan.request.files;
    record_.changes = plan.changes;
    record_.waiting = StateOf(server_, plan.present).Waiting();
  }

  /// The command that goes back, and a warning of what may keep it from working.
  [[nodiscard]] std::string WayBack(const Plan& plan) const {
    std::string command = CommandBack(options_, record_);
    for (const SDK::WriteForesight& foreseen : plan.foresight) {
      if (foreseen.kind != SDK::WriteForesight::Kind::LocksOut) continue;
      if (foreseen.path.ends_with("/NAME")) {
        command = CommandBackAs(foreseen.account, options_, record_);
      } else {
        messages_.Warning("the way back may not work from here: " +
                          plan.present.NameOf(foreseen.path) + ": " + foreseen.text);
      }
    }
    return command;
  }

  /// Saves the present configuration as what a new record of the history goes back to, and says
  /// how.
  Planning::Saved Backup(const Plan& plan) {
    const unsigned before = server_.Queries();
    history_.Begin(record_);
    progress_.Begin("saving the present configuration");
    Planning::Saved backup = Planning::SaveBackup(record_.backup, plan.request.mode, server_);
    progress_.End();
    history_.Keep(record_);
    queriesOfSave_ = server_.Queries() - before;
    for (const std::string& text : backup.warnings) messages_.Warning(text);
    messages_.Note("The present configuration is saved as " + backup.file + ". To go back:\n  " +
                   WayBack(plan));
    return backup;
  }

  /// The last that keeps a write from beginning.
  void GetReady(const Plan& plan, const Consent& consent, const Secrets& secrets) {
    try {
      ThrowIfInterrupted();
      consent.Ask(messages_);
      server_.Refresh();  // the answer may have taken long
      const std::vector<Planning::Change> changed = Planning::ChangedSince(plan.changes);
      server_.ThrowIfSilent();
      consent.AskAgain(changed, messages_);
      ThrowIfInterrupted();
      keeping_.ThrowIfAnotherWaits();
      if (options_.confirm.IsWanted()) Watch(secrets);
    } catch (...) {
      Note(Planning::kNothingWritten, false);
      throw;
    }
  }

  void Watch(const Secrets& secrets) {
    keeping_.Start(Planning::StateBefore(record_), secrets.password, secrets.accounts,
                   [this](const std::string& outcome, bool isOver) { Note(outcome, isOver); });
  }

  /// Says how it ended, where no guard does.
  void Record(const std::string& outcome) {
    if (!keeping_.IsOn()) Note(outcome, true);
  }

  /// Says in the history how it goes, and in the journal how it ended.
  void Note(const std::string& outcome, bool isOver) {
    if (record_.command.empty()) return;  // nothing was to be written
    record_.outcome = outcome;
    if (isOver) options_.journal(JournalRecordOf(record_, options_.tellsValues));
    KeepRecord();
  }

  /// A write that is done is not undone for want of a note.
  void KeepRecord() {
    if (record_.number == 0) return;
    try {
      history_.Keep(record_);
      history_.Prune(record_.target, Planning::kKeptRecords);
    } catch (const ResultStatus& failure) {
      messages_.Warning("the history does not know how this ended: " + failure.message());
    }
  }

  int WriteAndReport(const RequestMaker& make, const Plan& plan, const Planning::Saved& backup,
                     const Secrets& secrets) {
    // A restore asks what its rehearsal has asked; reading again asks what a save does.
    progress_.Begin("writing", queriesOfSave_ == 0 ? 0 : queriesOfPlan_ - queriesOfSave_);
    const Planning::Written written = Planning::Write(plan, secrets.password, server_);
    const int exitCode = Report(plan, written, &backup);
    if (IsTakenBack()) return exitCode;
    if (options_.reboot && (isPending_ || plan.NeedingRestart() > 0)) {
      return RestartAndVerify(make, plan, secrets);
    }
    return exitCode;
  }

  /// True when what was written was taken back, or was to be.
  [[nodiscard]] bool IsTakenBack() const {
    return confirmation_ && confirmation_->outcome != Planning::Confirmation::Outcome::Kept;
  }

  /// Reads the machine again and reports. Before any restart it is told what the `backup` is: with
  /// --json that report is the one document.
  int Report(const Plan& plan, const Planning::Written& written, const Planning::Saved* backup) {
    progress_.Begin("reading the target again", queriesOfSave_);
    const Planning::Report report = Planning::ReportOf(plan, written, server_);
    const std::vector<SDK::BootMessage> waiting = Planning::WaitingFromBefore(plan, server_);
    progress_.End();
    const std::string end =
        report.silence ? "the target could not be read afterwards" : OutcomeOf(report.IsAsWanted());
    keeping_.Written(end);
    if (!options_.json) ShowReport(plan, written, report, messages_);
    for (const SDK::BootMessage& message : waiting) {
      messages_.Warning("from an earlier change, of " + report.present.NameOf(message.path) + ", " +
                        message.text);
    }
    if (keeping_.IsOn()) {
      confirmation_ = keeping_.Settle(plan, report, progress_, queriesOfSave_);
    }
    if (options_.json && backup != nullptr) {
      messages_.Document(Planning::RestoreDocument(plan, *backup, written, report, confirmation_));
    }
    Record(end);
    if (confirmation_) {
      const int exitCode = keeping_.Tell(*confirmation_);
      if (IsTakenBack()) return exitCode;
    }
    if (report.silence) throw ResultStatus(*report.silence);
    if (written.failure && written.failure->getval() != ErrorManager::WritesRefused) {
      throw ResultStatus(*written.failure);
    }
    const std::size_t later = plan.NeedingRestart();
    if (later > 0 && !options_.reboot) {
      messages_.Warning("two boots are needed: restart the server and do the same again for " +
                        Counted(later, "more setting") + "; --reboot does that by itself");
    }
    isPending_ = report.Count(Planning::Outcome::Pending) > 0;
    return report.IsAsWanted() ? ExitDone : ExitDifferent;
  }

  /// Has what waits take effect, writes what the server takes only then, as often as that leads
  /// anywhere, and shows what has come of it all. With --json the first report was the one
  /// document.
  int RestartAndVerify(const RequestMaker& make, Plan plan, const Secrets& secrets) {
    const RestartOptions restart{JoinedTargets(options_.targets), options_.force,
                                 std::chrono::seconds(kRestartSeconds), options_.journal};
    std::size_t later = plan.NeedingRestart();
    do {
      RestartServer(server_, restart, messages_);
      if (later == 0) break;
      const std::size_t before = later;
      plan = Planning::MakePlan(make(server_), server_);
      later = plan.NeedingRestart();
      ShowRefusal(plan, messages_);
      if (plan.IsRefused() || plan.changes.empty() || later >= before) break;
      messages_.Note("Writing what needed the restart.");
      ThrowIfInterrupted();
      WriteAfterRestart(plan, secrets);
    } while (isPending_ || later > 0);
    const Planning::Verification verification =
        Planning::Verify(plan.request.wanted, Planning::PresentOf(server_, plan.request.mode),
                         plan.request.mode, server_);
    if (!options_.json) ShowVerification(verification, false, messages_);
    record_.outcome = OutcomeOf(verification.IsAsWanted());
    KeepRecord();
    return verification.IsAsWanted() ? ExitDone : ExitDifferent;
  }

  /// Writes what needed a restart. The journal is told of these changes alone, the history has all.
  void WriteAfterRestart(const Plan& plan, const Secrets& secrets) {
    const std::vector<Planning::Change> before = std::exchange(record_.changes, plan.changes);
    const Planning::Written written = Planning::Write(plan, secrets.password, server_);
    Report(plan, written, nullptr);
    record_.changes.insert(record_.changes.begin(), before.begin(), before.end());
  }

  const WriteOptions& options_;
  const Planning::History history_{HistoryFolderOf(options_.targets, options_.backupDir)};
  Planning::HistoryRecord record_;  ///< its number is 0 until the present state is saved
  std::optional<Planning::Confirmation> confirmation_;  ///< what that has come to
  const Server& server_;
  Progress& progress_;
  const Messages& messages_;
  Keeping keeping_{options_, history_, record_, messages_};
  unsigned queriesOfPlan_ = 0;
  unsigned queriesOfSave_ = 0;  ///< 0 without a backup
  bool isPending_ = false;      ///< something of what was written waits for a boot
};

}  // namespace

int CarryOut(const WriteOptions& options, const RequestMaker& make, const Messages& messages) {
  if (options.confirm.IsWanted()) CheckThatAWayStays(options.confirm, options.targets);
  if (!options.planOut.empty()) CheckReplaceable(options.planOut, false);
  Secrets secrets;
  if (!options.dryRun) {
    ReadPassword(options.password, Planning::kLongestAdminPassword, secrets.password);
  }
  if (!options.userPasswordFile.empty()) {
    ReadUserPasswords(options.userPasswordFile, secrets.accounts);
  }
  Progress progress(messages);
  const Server server(options.openTarget(), Watching(messages, &progress));
  if (!secrets.accounts.empty()) UseAccounts(secrets.accounts, server);
  const RequestMaker makeWithOptions = [&](const Server& target) {
    Planning::Request wanted = make(target);
    wanted.target = options.announcement;
    wanted.skipSystemCheck = wanted.skipSystemCheck || options.skipSystemCheck;
    wanted.skipBootOrder = options.skipBootOrder;
    wanted.keepsGoing = options.keepsGoing;
    wanted.ignoresUnknown = options.ignoresUnknown;
    return wanted;
  };
  return Stages(options, server, progress, messages).Run(makeWithOptions, secrets);
}

}  // namespace Tool
