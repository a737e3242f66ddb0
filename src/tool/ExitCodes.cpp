#include "tool/ExitCodes.h"

#include <algorithm>
#include <array>

#include "common/ErrorManager.h"

namespace Tool {
namespace {

constexpr auto kExitTable = std::to_array<ExitRow>({
    {ExitDone, "done, and all is as wanted"},
    {ExitDifferent, "some setting differs, was not applied, or needs a look"},
    {ExitFailed, "failed; a save has then written nothing"},
    {ExitTakenBack, "nobody kept the write, or it cut the way: all is as before"},
    {ExitNotTakenBack, "it was to be taken back, and that has failed"},
    {ExitUsage, "the command line is wrong"},
    {ExitBadInput, "an input file is malformed"},
    {ExitNoInput, "an input file does not exist"},
    {ExitUnreachable, "the target does not answer"},
    {ExitNotPermitted, "not permitted"},
});

/// Errors that have an exit code or an advice of their own; every other error is a plain failure.
struct ErrorRow {
  int error;
  ExitCode code;
  const char* advice;
};

constexpr auto kErrorTable = std::to_array<ErrorRow>({
    {ErrorManager::BadFileName, ExitUsage, ""},
    {ErrorManager::BadStreamMode, ExitUsage, ""},
    {ErrorManager::BadStream, ExitBadInput, ""},
    {ErrorManager::CannotReadFile, ExitNoInput, ""},
    {ErrorManager::TargetMalformed, ExitBadInput,
     "Mend the machine file at that line, or take a machine file that this tool has written."},
    {ErrorManager::TargetMissing, ExitNoInput, "Check the file name behind \"machine:\"."},
    {ErrorManager::Unreachable, ExitUnreachable,
     "Check that the target is switched on and reachable, then try again."},
    {ErrorManager::NotPermitted, ExitNotPermitted,
     "Run the command as a user who may access it, or change its permissions."},
    {ErrorManager::PasswordRefused, ExitNotPermitted, ""},
    {ErrorManager::LoginRefused, ExitNotPermitted, ""},
    {ErrorManager::NotTrusted, ExitFailed,
     "Nothing was sent to it. Give the certificate that vouches for it with --cacert, or its "
     "public "
     "key with --pinned-key."},
});

const ErrorRow* Find(int error) {
  const auto* row = std::ranges::find(kErrorTable, error, &ErrorRow::error);
  return row == kErrorTable.end() ? nullptr : row;
}

}  // namespace

std::span<const ExitRow> ExitTable() {
  return kExitTable;
}

ExitCode ExitCodeOf(const ResultStatus& failure) {
  const ErrorRow* row = Find(failure.getval());
  return row == nullptr ? ExitFailed : row->code;
}

ExitCode ExitCodeOf(Planning::Failure::Kind kind) {
  switch (kind) {
    case Planning::Failure::Kind::Usage:
      return ExitUsage;
    case Planning::Failure::Kind::BadInput:
      return ExitBadInput;
    case Planning::Failure::Kind::NoInput:
      return ExitNoInput;
    case Planning::Failure::Kind::NotPermitted:
      return ExitNotPermitted;
    case Planning::Failure::Kind::Failed:
      break;
  }
  return ExitFailed;
}

std::string AdviceOn(const ResultStatus& failure) {
  const ErrorRow* row = Find(failure.getval());
  return row == nullptr ? "" : row->advice;
}

}  // namespace Tool
