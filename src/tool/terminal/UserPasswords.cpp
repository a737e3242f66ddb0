#include "tool/terminal/UserPasswords.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "common/Descriptor.h"
#include "common/Wipe.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"

namespace Tool {
namespace {

constexpr std::size_t kLongestUserPassword = 20;  // that IPMI has room for
constexpr std::size_t kLargestFile = 65536;

[[noreturn]] void Refuse(ExitCode code, const std::string& file, const std::string& why) {
  throw ToolError(code, "the file of --user-password-file, \"" + file + "\", " + why);
}

/// What the file holds, read into one buffer that never grows: no copy is left behind.
void ReadAll(const std::string& file, std::string& text) {
  const Common::Descriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts = {};
  if (!opened.IsOpen() || fstat(opened.Get(), &facts) != 0) {
    const int error = errno;
    Refuse(error == ENOENT ? ExitNoInput : ExitNotPermitted, file,
           "cannot be opened: " + std::generic_category().message(error));
  }
  if (!S_ISREG(facts.st_mode)) Refuse(ExitBadInput, file, "is no regular file");
  if ((facts.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    Refuse(ExitNotPermitted, file, "is open to others; \"chmod 600\" closes it");
  }
  text.resize(kLargestFile);
  std::size_t length = 0;
  while (length < text.size()) {
    const ssize_t got = read(opened.Get(), text.data() + length, text.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Refuse(ExitFailed, file, "cannot be read");
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  if (length == kLargestFile) Refuse(ExitBadInput, file, "is longer than 64 KiB");
  text.resize(length);
}

/// Takes one line apart. The texts of a refusal never hold what the line holds.
void AddLine(std::string_view line, unsigned number, const std::string& file,
             SDK::SettingMap& passwords) {
  const std::size_t colon = line.find(':');
  const std::string where = "line " + std::to_string(number);
  if (colon == 0 || colon == std::string_view::npos) {
    Refuse(ExitBadInput, file, "has no NAME:PASSWORD in " + where);
  }
  const std::string_view password = line.substr(colon + 1);
  if (password.empty() || password.size() > kLongestUserPassword ||
      password.find('\0') != std::string_view::npos) {
    Refuse(ExitBadInput, file,
           "has no password of 1 to " + std::to_string(kLongestUserPassword) +
               " bytes without NUL in " + where);
  }
  passwords[std::string(line.substr(0, colon))].assign(password);
}

}  // namespace

void ReadUserPasswords(const std::string& file, SDK::SettingMap& passwords) {
  std::string text;
  const Common::WipeOnExit wipe(text);
  ReadAll(file, text);
  unsigned number = 0;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + (line.size() < rest.size() ? 1 : 0));
    if (line.ends_with('\r')) line.remove_suffix(1);
    ++number;
    if (!line.empty()) AddLine(line, number, file, passwords);
  }
}

void AskUserPasswords(const std::set<std::string>& names, SDK::SettingMap& passwords) {
  for (const std::string& name : names) {
    if (passwords.contains(name)) continue;
    PasswordSource source;
    source.ask = true;
    source.prompt = "New password of the account \"" + Printable(name) + "\": ";
    std::string& password = passwords[name];
    std::string again;
    const Common::WipeOnExit wipe(again);
    ReadPassword(source, kLongestUserPassword, password);
    source.prompt = "The same again: ";
    ReadPassword(source, kLongestUserPassword, again);
    if (password.empty() || password != again) {
      throw ToolError(ExitFailed, password.empty()
                                      ? "the password is empty; nothing was written"
                                      : "the two passwords differ; nothing was written");
    }
  }
}

}  // namespace Tool
