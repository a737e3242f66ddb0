#pragma once

#include <span>
#include <stdexcept>
#include <string>

#include "common/ResultStatus.h"
#include "plan/Failure.h"

namespace Tool {

/// What the tool returns to the shell. The numbers from 64 on are those of sysexits.h.
enum ExitCode : int {
  ExitDone = 0,
  ExitDifferent = 1,
  ExitFailed = 2,
  ExitTakenBack = 3,
  ExitNotTakenBack = 4,
  ExitUsage = 64,
  ExitBadInput = 65,
  ExitNoInput = 66,
  ExitUnreachable = 69,
  ExitNotPermitted = 77,
};

/// One line of the exit code table in the help, the README and the manual page.
struct ExitRow {
  ExitCode code;
  const char* meaning;
};
[[nodiscard]] std::span<const ExitRow> ExitTable();

/// The exit code for a failure of the module or of a back end.
[[nodiscard]] ExitCode ExitCodeOf(const ResultStatus& failure);

/// The exit code for a plan that was refused.
[[nodiscard]] ExitCode ExitCodeOf(Planning::Failure::Kind kind);

/// What a person can do about a failure; empty where its own text says it all.
[[nodiscard]] std::string AdviceOn(const ResultStatus& failure);

/// A failure of the tool itself: what is wrong, and what to do about it.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode exitCode, const std::string& text)
      : std::runtime_error(text), code(exitCode) {}
  ExitCode code;
};

}  // namespace Tool
