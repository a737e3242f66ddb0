#include "tool/commands/FurtherCommands.h"

namespace Tool {
namespace {

/// `text` as a word of a shell command.
std::string ShellWord(const std::string& text) {
  constexpr const char* kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:,@%+=";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char character : text) word += character == '\'' ? "'\\''" : std::string(1, character);
  return word + "'";
}

/// A command on these targets, reached as the options say, up to its own options.
std::string CommandOn(const std::vector<std::string>& targets, const WriteOptions& options,
                      const std::string& name) {
  std::string command = "saverestore";
  for (const std::string& text : targets) command += " --target " + ShellWord(text);
  for (const std::string& word : options.targetWords) command += " " + ShellWord(word);
  return command + " " + name;
}

/// The option that says where the history is.
std::string BackupDirOf(const WriteOptions& options) {
  return options.backupDir.empty() ? "" : " --backup-dir " + ShellWord(options.backupDir);
}

/// The options that let a command write as these do.
std::string WordsToWrite(const WriteOptions& options) {
  std::string command;
  if (options.skipSystemCheck) command += " --skip-system-check";
  if (!options.password.file.empty()) {
    command += " --password-file " + ShellWord(options.password.file);
  } else if (options.password.ask || options.password.descriptor >= 0) {
    command += " --ask-password";
  }
  if (!options.userPasswordFile.empty()) {
    command += " --user-password-file " + ShellWord(options.userPasswordFile);
  }
  return command;
}

}  // namespace

std::string CommandBack(const WriteOptions& options, const Planning::HistoryRecord& record) {
  return CommandOn(options.targets, options, "undo") + BackupDirOf(options) +
         WordsToWrite(options) + " " + std::to_string(record.number);
}

std::string CommandBackAs(const std::string& account, const WriteOptions& options,
                          const Planning::HistoryRecord& record) {
  std::vector<std::string> targets = options.targets;
  for (std::string& target : targets) {  // KIND:USER@HOST
    const std::size_t user = target.find(':') + 1;
    const std::size_t at = target.rfind('@');
    if (user != 0 && at != std::string::npos && at > user) target.replace(user, at - user, account);
  }
  return CommandOn(targets, options, "apply") + WordsToWrite(options) + " --allow-lockout " +
         ShellWord(record.backup);
}

std::vector<std::string> CommandsByHand(const WriteOptions& options,
                                        const Planning::HistoryRecord& record) {
  std::vector<std::string> commands = {CommandBack(options, record)};
  if (!options.confirm.rescue.empty()) {
    commands.push_back(CommandOn(options.confirm.rescue, options, "apply") + WordsToWrite(options) +
                       " " + ShellWord(record.backup));
  }
  return commands;
}

std::string CommandToConfirm(const WriteOptions& options) {
  return CommandOn(options.targets, options, "confirm") + BackupDirOf(options);
}

}  // namespace Tool
