#include "tool/commands/RestoreCommand.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "common/ErrorManager.h"
#include "common/Wipe.h"
#include "modules/save/Expansion.h"
#include "plan/ConfigurationFile.h"
#include "plan/FileCheck.h"
#include "plan/RestoreReport.h"
#include "query/XDirector.h"
#include "tool/ExitCodes.h"
#include "tool/commands/SaveCommand.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

using nlohmann::ordered_json;
namespace fs = std::filesystem;

/// The module, with its messages about skipped items kept for the report.
class ReportedRestore final : public SDK::SaveRestore {
 public:
  explicit ReportedRestore(std::vector<std::string>& skipped) : skipped_(skipped) {}

 protected:
  void PrintSkip(const std::string& text) override { AddOnce(skipped_, text); }

 private:
  std::vector<std::string>& skipped_;
};

std::string Dump(const ordered_json& document) {
  return document.dump(2, ' ', false, ordered_json::error_handler_t::replace);
}

/// The value that the target has at `path`; empty when it has none.
std::string PresentValue(const std::string& path) {
  NodeMap nodes;
  try {
    SDK::XDirectorImpl::CreateInstance()->ProcessXQuery(path, nodes);
  } catch (const ResultStatus&) {
    return {};
  }
  const auto node = nodes.find(path);
  return node == nodes.end() || node->second.values.empty() ? "" : node->second.values.front();
}

/// Refuses a file that cannot be restored as a whole. The list of reasons goes out first.
void RefuseUnfitFile(const RestoreRequest& request, const ConfigurationFile& file,
                     const Rehearsal& rehearsal, const WatchedTarget& target,
                     const Messages& messages) {
  for (const ResultStatus& failure : rehearsal.failures) {
    if (failure.getval() == ErrorManager::BadFileName) throw ResultStatus(failure);
  }
  std::vector<Finding> findings = CheckFile(file);
  const std::vector<Finding> more = CheckAgainstTarget(request.choice, rehearsal);
  target.ThrowIfSilent();  // what it has not told is no fault of the file
  findings.insert(findings.end(), more.begin(), more.end());
  for (const Finding& finding : findings) {
    const std::string text = Describe(finding, request.choice.file);
    if (finding.weight == Finding::Weight::Error) {
      messages.Error(text);
    } else {
      messages.Detail(text);
    }
  }
  if (HasErrors(findings)) {
    throw ToolError(ExitBadInput, "the file does not fit this target; nothing was written");
  }
}

/// The writes that change something, with the present value of each.
struct Change {
  std::string path;
  std::string from;
  std::string to;
};

/// `before` has most of the present values; it has retry intervals and boot orders in another form.
std::vector<Change> ChangesOf(const Rehearsal& rehearsal, const Configuration& before) {
  std::map<std::string, const std::string*> known;
  for (const Setting& setting : before.Settings()) {
    const bool isAsSent =
        setting.key != SDK::Expansion::kRetryIntervalKey && !IsBootOrder(setting.section);
    if (isAsSent) known.try_emplace(setting.path, &setting.value);
  }
  std::vector<Change> changes;
  for (const RecordedWrite& write : rehearsal.writes) {
    const auto found = known.find(write.path);
    std::string present = found == known.end() ? PresentValue(write.path) : *found->second;
    if (present != write.value) changes.push_back({write.path, std::move(present), write.value});
  }
  return changes;
}

void ShowChanges(const RestoreRequest& request, const Rehearsal& rehearsal,
                 const std::vector<Change>& changes, const Messages& messages) {
  if (request.json) {
    if (!request.dryRun) return;  // the report will be the one document
    ordered_json writes = ordered_json::array();
    for (const RecordedWrite& write : rehearsal.writes) {
      writes.push_back({{"path", write.path}, {"value", write.value}});
    }
    ordered_json list = ordered_json::array();
    for (const Change& change : changes) {
      list.push_back({{"path", change.path}, {"from", change.from}, {"to", change.to}});
    }
    messages.Document(Dump({{"schema", "saverestore-dry-run/1"},
                            {"file", request.choice.file},
                            {"mode", NameOf(request.choice.mode)},
                            {"changes", list},
                            {"writes", writes},
                            {"messages", rehearsal.skipped}}));
    return;
  }
  for (const Change& change : changes) {
    messages.Result(change.path + ": \"" + change.from + "\" -> \"" + change.to + "\"");
  }
  if (request.dryRun) {  // else the restore itself says them
    for (const std::string& text : rehearsal.skipped) messages.Result(text);
  }
  messages.Result(Counted(changes.size(), "setting") + " will change; " +
                  std::to_string(rehearsal.writes.size()) + " will be written.");
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
std::string CommandBack(const RestoreRequest& request, const std::string& backup) {
  std::string command = "saverestore";
  for (const std::string& text : request.targets) command += " --target " + ShellWord(text);
  for (const std::string& word : request.targetWords) command += " " + ShellWord(word);
  command += std::string(" restore --mode ") + NameOf(request.choice.mode);
  if (request.choice.skipSystemCheck) command += " --skip-system-check";
  if (!request.password.file.empty()) {
    command += " --password-file " + ShellWord(request.password.file);
  } else if (request.password.ask || request.password.descriptor >= 0) {
    command += " --ask-password";
  }
  return command + " " + ShellWord(backup);
}

/// A name in `folder` that no file has: NAME-before-DATE.ini, or with a number for a second restore
/// within one second.
std::string BackupName(const fs::path& folder, const std::string& name, const char* date) {
  const std::string base = (folder / (name + "-before-" + date)).string();
  std::string file = base + ".ini";
  std::error_code error;
  for (int number = 2; fs::exists(fs::symlink_status(file, error)); ++number) {
    file = base + "-" + std::to_string(number) + ".ini";
  }
  return file;
}

/// Saves the machine's present configuration under a dated name. \return the file.
std::string Backup(const RestoreRequest& request, const WatchedTarget& target,
                   const Messages& messages) {
  std::array<char, 32> date = {};
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  localtime_r(&now, &parts);
  std::strftime(date.data(), date.size(), "%Y%m%d-%H%M%S", &parts);
  const fs::path file(request.choice.file);
  const fs::path folder =
      request.backupDir.empty() ? file.parent_path() : fs::path(request.backupDir);
  SaveRequest save;
  save.openTarget = [&target] { return target.Providers(); };
  save.file = BackupName(folder, file.stem().string(), date.data());
  save.mode = request.choice.mode;
  RunSave(save, Messages(Verbosity::Quiet));
  MountTarget(target.Providers());
  messages.Note("The present configuration is saved. To go back:\n  " +
                CommandBack(request, save.file));
  return save.file;
}

void AskForConsent(const RestoreRequest& request, const std::vector<Change>& changes) {
  if (request.yes || changes.empty() || isatty(STDIN_FILENO) != 1) return;
  std::cerr << "Write them? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "Y" && answer != "yes") {
    throw ToolError(ExitFailed, "not confirmed; nothing was written");
  }
}

/// Runs the module's restore. \throws what it throws; the password is wiped in any case.
void RestoreNow(const RestoreRequest& request, Mode mode, const std::string& password,
                std::vector<std::string>& skipped) {
  SDK::SavenRestoreOptions options = OptionsFor(request.choice.file, mode);
  options.skipSystemCheck = request.choice.skipSystemCheck;
  options.skipBootOrder = request.choice.skipBootOrder;
  password.copy(options.password, sizeof options.password - 1);
  struct Wipe {
    SDK::SavenRestoreOptions& record;
    ~Wipe() { explicit_bzero(record.password, sizeof record.password); }
  } wipe{options};
  ReportedRestore(skipped).Restore(options);
}

void PrintReport(const RestoreReport& report, const RestoreRequest& request,
                 const std::string& backup, const std::vector<std::string>& skipped,
                 const std::optional<ResultStatus>& failure, const Messages& messages) {
  if (request.json) {
    ordered_json totals;
    for (const Outcome outcome : kAllOutcomes) totals[NameOf(outcome)] = report.Count(outcome);
    ordered_json settings = ordered_json::array();
    for (const ReportRow& row : report.rows) {
      settings.push_back({{"section", row.section},
                          {"key", row.key},
                          {"outcome", NameOf(row.outcome)},
                          {"wanted", row.wanted},
                          {"present", row.present},
                          {"reason", row.reason}});
    }
    ordered_json document = {{"schema", "saverestore-restore/1"},
                             {"file", request.choice.file},
                             {"mode", NameOf(request.choice.mode)},
                             {"backup", backup},
                             {"totals", totals},
                             {"settings", settings},
                             {"messages", skipped}};
    if (failure) document["failure"] = {{"code", failure->getval()}, {"text", failure->message()}};
    messages.Document(Dump(document));
    return;
  }
  for (const std::string& text : skipped) messages.Result(text);
  for (const ReportRow& row : report.rows) {
    const std::string text = row.section + "::" + row.key + ": " + NameOf(row.outcome) +
                             (row.reason.empty() ? "" : " (" + row.reason + ")");
    if (row.outcome == Outcome::Unchanged || row.reason == kNotNamed) {
      messages.Detail(text);
    } else {
      messages.Result(text);
    }
  }
  std::string totals;
  for (const Outcome outcome : kAllOutcomes) {
    totals += (totals.empty() ? "" : ", ") + std::to_string(report.Count(outcome)) + " " +
              NameOf(outcome);
  }
  messages.Result(totals + ".");
}

/// What the writes of a restore have come to.
struct Written {
  std::vector<std::string> skipped;     ///< what the module says of items that it passes over
  std::vector<SDK::WriteNote> notes;    ///< what the target says of single writes
  std::optional<ResultStatus> failure;  ///< that has ended the restore
};

bool IsOfBios(const SDK::WriteNote& note) {
  return note.path.starts_with("/BIOS/");
}

/// Restores in `mode` and keeps a failure: what was written before it is reported first. Settings
/// that the target refuses end the module's restore, but not a person's: where the BMC has refused
/// some, the BIOS part still follows.
void RestoreKeepingFailure(const RestoreRequest& request, Mode mode, const WatchedTarget& target,
                           const std::string& password, Written& written) {
  try {
    RestoreNow(request, mode, password, written.skipped);
  } catch (const ResultStatus& thrown) {
    written.failure = thrown;
  }
  std::ranges::move(TakeWriteNotes(target.Providers()), std::back_inserter(written.notes));
  const bool onlyBmcRefused = written.failure &&
                              written.failure->getval() == ErrorManager::WritesRefused &&
                              std::ranges::none_of(written.notes, IsOfBios);
  if (mode != ModeAll || !onlyBmcRefused) return;
  RestoreKeepingFailure(request, ModeBios, target, password, written);
}

/// What waits from an earlier change takes effect with this restore, whatever the file says.
void WarnOfOthersWaiting(const WatchedTarget& target, const Configuration& after,
                         const std::set<std::string>& sent, const Messages& messages) {
  const auto bios = target.Providers().find("BIOS");
  if (bios == target.Providers().end()) return;
  for (const SDK::BootMessage& message : bios->second.provider->BootMessages()) {
    if (!message.isWaiting || sent.contains(message.path)) continue;
    messages.Warning("from an earlier change, of " + after.NameOf(message.path) + ", " +
                     message.text);
  }
}

/// Restores, reads the machine again, reports. \return the exit code.
int RestoreAndReport(const RestoreRequest& request, const Configuration& file,
                     const Configuration& before, const Rehearsal& rehearsal,
                     const WatchedTarget& target, const std::string& password,
                     const std::string& backup, const Messages& messages) {
  Written written;
  RestoreKeepingFailure(request, request.choice.mode, target, password, written);
  std::set<std::string> sent;
  for (const RecordedWrite& write : rehearsal.writes) sent.insert(write.path);
  const Configuration after = ConfigurationOfTarget(request.choice.mode);
  try {
    target.ThrowIfSilent();
  } catch (const ResultStatus&) {
    for (const SDK::WriteNote& note : written.notes) messages.Error(note.path + ": " + note.reason);
    messages.Error(written.notes.empty()
                       ? "the target fell silent; which of the settings were written is not known"
                       : "the target fell silent; above is what it has not taken");
    throw;
  }
  const RestoreReport report = Report(file, before, after, sent, written.notes);
  PrintReport(report, request, backup, written.skipped, written.failure, messages);
  if (request.choice.mode != ModeBmc) WarnOfOthersWaiting(target, after, sent, messages);
  if (written.failure && written.failure->getval() != ErrorManager::WritesRefused) {
    throw ResultStatus(*written.failure);
  }
  return report.Count(Outcome::NotApplied) == 0 ? ExitDone : ExitDifferent;
}

}  // namespace

int RunRestore(RestoreRequest request, const Messages& messages) {
  const ConfigurationFile read(request.choice.file);
  const Configuration& file = read.Content();
  request.choice.mode = request.mode.value_or(ModeOf(file));
  std::string password;
  const Common::WipeOnExit wipe(password);
  if (!request.dryRun) {
    ReadPassword(request.password, sizeof SDK::SavenRestoreOptions::password - 1, password);
  }
  const WatchedTarget target(request.openTarget, messages);
  CheckMode(target.Providers(), request.choice.mode);
  const Rehearsal rehearsal = Rehearse(request.choice, target.Providers());
  RefuseUnfitFile(request, read, rehearsal, target, messages);
  const Configuration before = ConfigurationOfTarget(request.choice.mode);
  const std::vector<Change> changes = ChangesOf(rehearsal, before);
  target.ThrowIfSilent();
  if (request.dryRun) {
    ShowChanges(request, rehearsal, changes, messages);
    return ExitDone;
  }
  const std::string backup = request.noBackup ? "" : Backup(request, target, messages);
  ShowChanges(request, rehearsal, changes, messages);
  AskForConsent(request, changes);
  ThrowIfInterrupted();
  try {
    return RestoreAndReport(request, file, before, rehearsal, target, password, backup, messages);
  } catch (const Interrupted&) {
    throw ToolError(ExitFailed, "interrupted; what was written before stays written");
  }
}

}  // namespace Tool
