#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "tool/terminal/StatusLine.h"

namespace Tool {

enum class Verbosity { Quiet, Normal, Verbose };

/// What the tool says. Results go to standard output, all else to standard error. Texts from files
/// and machines are shown with their control characters escaped: they cannot steer a terminal.
class Messages {
 public:
  /// `mayPage` allows a pager for long listings.
  explicit Messages(Verbosity verbosity, bool mayPage = false)
      : verbosity_(verbosity),
        mayPage_(mayPage),
        status_(std::make_shared<StatusLine>(verbosity == Verbosity::Normal)) {}

  [[nodiscard]] bool IsQuiet() const { return verbosity_ == Verbosity::Quiet; }
  [[nodiscard]] bool IsVerbose() const { return verbosity_ == Verbosity::Verbose; }
  /// The line that shows what is under way; every message takes it away first. All copies of these
  /// messages share it.
  [[nodiscard]] StatusLine& Status() const { return *status_; }

  /// A failure. Always shown.
  void Error(const std::string& text) const;
  /// Something that a person should know although the command goes on. Always shown.
  void Warning(const std::string& text) const;
  /// The outcome, on standard output; not with --quiet.
  void Result(const std::string& text) const;
  /// The outcome as lines that are laid out and escaped already, through a pager where they are
  /// more than the terminal has; not with --quiet.
  void Lines(const std::string& text) const;
  /// A whole document for a program, on standard output, as it is. Always shown.
  void Document(const std::string& text) const;
  /// True when a document was printed.
  [[nodiscard]] bool HasDocument() const { return *hasDocument_; }
  /// Something good to know, line by line; not with --quiet.
  void Note(const std::string& text) const;
  /// A detail; with --verbose only.
  void Detail(const std::string& text) const;

 private:
  void Tell(const char* prefix, const std::string& text) const;
  void Put(const std::string& text) const;

  Verbosity verbosity_;
  bool mayPage_;
  std::shared_ptr<StatusLine> status_;
  std::shared_ptr<bool> hasDocument_ = std::make_shared<bool>(false);
};

/// "1 setting", "2 settings"; `plural` for a noun that takes more than an "s".
[[nodiscard]] std::string Counted(std::size_t count, const std::string& noun,
                                  const std::string& plural = "");

/// `text` with its control characters escaped.
[[nodiscard]] std::string Printable(const std::string& text);

}  // namespace Tool
