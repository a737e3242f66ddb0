// How the commands that write are told to, and what they call their targets.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <string_view>

#include "plan/History.h"
#include "tool/commands/Writing.h"

namespace Tool {

std::string JoinedTargets(const std::vector<std::string>& targets) {
  std::string joined;
  for (const std::string& target : targets) {
    constexpr std::string_view kFile = "machine:";
    const bool isFile = target.starts_with(kFile);
    joined += (joined.empty() ? "" : "+") +
              (isFile ? std::string(kFile) + std::filesystem::absolute(target.substr(kFile.size()))
                                                 .lexically_normal()
                                                 .string()
                      : target);
  }
  return joined;
}

std::string HistoryFolderOf(const std::vector<std::string>& targets, const std::string& backupDir) {
  return backupDir.empty() ? Planning::HistoryFolder(JoinedTargets(targets)) : backupDir;
}

void TakeTargets(const Globals& globals, WriteOptions& options) {
  options.openTarget = OpenerOf(globals);
  options.targets = globals.targets.Names();
  options.announcement = globals.targets.Announcement();
  options.targetWords = globals.targets.GivenOptions();
  if (options.confirm.IsWanted() && options.confirm.rescue.empty() &&
      !globals.targets.Rescue().empty()) {
    options.confirm.rescue = {globals.targets.Rescue()};
  }
  options.confirm.openRescue = [&globals, &options] {
    return globals.targets.Open(options.confirm.rescue);
  };
}

void ThrowIfGuarded(const std::vector<std::string>& targets) {
  ThrowIfGuarded(Planning::History(HistoryFolderOf(targets, "")), JoinedTargets(targets),
                 "confirm");
}

void AddWriteOptions(CLI::App& command, WriteOptions& options) {
  CLI::Option* file =
      command.add_option("--password-file", options.password.file,
                         "Read the BIOS administrator password from the first line of this file");
  CLI::Option* descriptor = command.add_option("--password-fd", options.password.descriptor,
                                               "Read it from this open file descriptor");
  CLI::Option* ask =
      command.add_flag("--ask-password", options.password.ask, "Ask for it on the terminal");
  file->type_name("FILE")->excludes(descriptor)->excludes(ask);
  descriptor->type_name("N")->excludes(ask);
  command
      .add_option("--user-password-file", options.userPasswordFile,
                  "Passwords of accounts that are opened, as lines NAME:PASSWORD; default: ask on "
                  "the terminal")
      ->type_name("FILE");
  command.add_flag("--skip-system-check", options.skipSystemCheck,
                   "Do not compare [SYSTEM] with the target");
  command.add_flag("--skip-boot-order", options.skipBootOrder,
                   "Leave the boot order and the hard-disk order alone");
  command.add_flag("--keep-going", options.keepsGoing,
                   "Write the rest where the target cannot take some values");
  command.add_flag("--ignore-unknown", options.ignoresUnknown,
                   "Pass over sections and keys that the target does not know");
  CLI::Option* dryRun = command.add_flag("--dry-run", options.dryRun,
                                         "Show what would be written, and write nothing");
  command
      .add_option("--plan-out", options.planOut,
                  "Keep what the dry run shows, for apply --plan to carry out just that")
      ->type_name("PLAN.json")
      ->needs(dryRun);
  CLI::Option* noBackup = command.add_flag("--no-backup", options.noBackup,
                                           "Do not save the present configuration first");
  command
      .add_option("--backup-dir", options.backupDir,
                  "Where the history with the present configuration is kept; default: below "
                  "$XDG_STATE_HOME, of root below /var/lib")
      ->type_name("DIR");
  command.add_flag("--yes", options.yes, "Do not ask; without a terminal it must be given");
  command.add_flag("--allow-lockout", options.allowLockout,
                   "Write also what cuts off the way to the target, without asking");
  command.add_flag("--json", options.json, "Report as JSON");
  command.add_flag("--journal-values", options.tellsValues,
                   "Tell the journal each change with its values; never passwords and the like");
  CLI::Option* confirm = AddConfirmOptions(command, options.confirm);
  confirm->excludes(noBackup);
  auto* reboot = command
                     .add_flag("--reboot", options.reboot,
                               "Restart the server where settings wait for that, and verify")
                     ->excludes(confirm);
  command
      .add_flag("--force", options.force,
                "That restart ends an operating system that does not end when asked")
      ->needs(reboot);
}

}  // namespace Tool
