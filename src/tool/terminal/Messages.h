#pragma once

#include <cstddef>
#include <string>

namespace Tool {

enum class Verbosity { Quiet, Normal, Verbose };

/// What the tool says. Results go to standard output, all else to standard error. Texts from files
/// and machines are shown with their control characters escaped: they cannot steer a terminal.
class Messages {
 public:
  explicit Messages(Verbosity verbosity) : verbosity_(verbosity) {}

  [[nodiscard]] bool IsVerbose() const { return verbosity_ == Verbosity::Verbose; }
  /// True when a progress line may be drawn: standard error is a terminal with nothing else to
  /// show.
  [[nodiscard]] bool ShowsProgress() const;

  /// A failure. Always shown.
  void Error(const std::string& text) const;
  /// Something that a person should know although the command goes on. Always shown.
  void Warning(const std::string& text) const;
  /// The outcome, on standard output; not with --quiet.
  void Result(const std::string& text) const;
  /// A whole document for a program, on standard output, as it is. Always shown.
  void Document(const std::string& text) const;
  /// Something good to know, line by line; not with --quiet.
  void Note(const std::string& text) const;
  /// A detail; with --verbose only.
  void Detail(const std::string& text) const;

 private:
  Verbosity verbosity_;
};

/// "1 setting", "2 settings".
[[nodiscard]] std::string Counted(std::size_t count, const std::string& noun);

/// `text` with its control characters escaped.
[[nodiscard]] std::string Printable(const std::string& text);

}  // namespace Tool
