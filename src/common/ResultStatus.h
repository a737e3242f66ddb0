#pragma once

#include <exception>
#include <string>
#include <utility>

/// The kind of command that a failure belongs to.
enum _XCOMMAND : int {  // NOLINT(bugprone-reserved-identifier): the name callers know
  XCOMMAND_FILE = 0,    ///< naming and creating the configuration file
  XCOMMAND_QUERY = 1,   ///< everything that talks to the server or reads the file
};

/// The one way a failure travels: thrown by value, caught by const reference.
///
/// `getval()` is the number a script can rely on; the texts are for people. Make one with
/// `ErrorManager::Raise`, which takes the text from the error catalogue.
class ResultStatus : public std::exception {
 public:
  ResultStatus(unsigned short code, std::string message, std::string detail, _XCOMMAND command)
      : code_(code), message_(std::move(message)), detail_(std::move(detail)), command_(command) {}
  ResultStatus(const ResultStatus&) = default;
  ResultStatus& operator=(const ResultStatus&) = default;
  ~ResultStatus() override = default;

  /// The number of the error in the catalogue, for example 1040.
  [[nodiscard]] unsigned short getval() const noexcept { return code_; }
  /// One sentence that says what went wrong.
  [[nodiscard]] const std::string& message() const noexcept { return message_; }
  /// More about it, often empty.
  [[nodiscard]] const std::string& detail() const noexcept { return detail_; }
  [[nodiscard]] _XCOMMAND command() const noexcept { return command_; }
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

 private:
  unsigned short code_;
  std::string message_;
  std::string detail_;
  _XCOMMAND command_;
};
