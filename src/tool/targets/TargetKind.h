#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plan/Mounts.h"
#include "tool/terminal/Password.h"

namespace CLI {
class App;
}

namespace Tool {

/// A kind of target, with the options that reach targets of its kind. A kind without options of its
/// own has only to open them.
class TargetKind {
 public:
  virtual ~TargetKind() = default;

  /// Adds the options to the command line, which keeps to this object.
  virtual void AddOptions(CLI::App& /*app*/) {}
  /// Those that were given, as words for a command that a person may repeat.
  [[nodiscard]] virtual std::vector<std::string> GivenOptions() const { return {}; }
  /// Opens the target at `place`, what stands behind the ":".
  /// \throws ToolError     the place or an option is malformed, or there is no password.
  /// \throws ResultStatus  what reaching it and logging in throw.
  [[nodiscard]] virtual Planning::Mounts Open(const std::string& place,
                                              const PasswordSource& bmcPassword) const = 0;
};

/// One line of the table of kinds in this build.
struct TargetRow {
  const char* scheme;   ///< what stands before the ":"
  const char* form;     ///< how it is written behind --target; without ":" it takes no place
  const char* summary;  ///< one line
  std::unique_ptr<TargetKind> (*make)();
};

/// Adds "--NAME VALUE" to `words` unless the value is empty.
inline void AddWords(std::vector<std::string>& words, const char* name, const std::string& value) {
  if (!value.empty()) words.insert(words.end(), {name, value});
}

/// The source for a BMC password: the one that is given, else the terminal when there is a user.
[[nodiscard]] inline PasswordSource SourceFor(const std::string& user, PasswordSource given) {
  const bool isGiven = !given.file.empty() || given.descriptor >= 0;
  given.ask = !isGiven && !user.empty();
  return given;
}

}  // namespace Tool
