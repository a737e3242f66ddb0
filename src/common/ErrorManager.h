#pragma once

#include <cstddef>
#include <string>

#include "common/Logger.h"
#include "common/ResultStatus.h"

namespace ErrorManager {

/// Every error this system raises. The numbers up to 1353 are the module's and are known to its
/// callers; those from 2048 on belong to the query engine and its back ends.
enum ErrorCode : int {
  BadFileName = 1040,
  CannotWriteFile = 1041,
  EmptySystemValue = 1042,
  MissingSystemKey = 1043,
  BiosVersionDiffers = 1044,
  FirmwareDiffers = 1045,
  CannotReadFile = 1046,
  BadSectionMap = 1133,
  MissingKey = 1134,
  BadStream = 1177,
  StreamSaveFailed = 1178,
  StreamRestoreFailed = 1179,
  BadStreamMode = 1180,
  BadBootOrder = 1263,
  BadBiosValue = 1353,

  Unreachable = 2048,  ///< the target does not answer; the one read failure that a save reports
  NotMounted = 2049,
  NoSuchNode = 2050,
  NotPermitted = 2051,
  ReadOnlyNode = 2052,
  ValueRefused = 2053,
  PasswordRefused = 2054,
  TargetMissing = 2055,
  TargetMalformed = 2056,
  WriteFailed = 2057,
  NoSuchForm = 2058,
  WritesRefused = 2059,  ///< some settings of a batch; the back end has a note for each
  BadAnswer = 2060,
  NotTrusted = 2061,
};

/// True for the failures with which a target has said nothing of what it was asked. A reader that
/// takes them for an absent setting would record something that nobody knows.
[[nodiscard]] constexpr bool SaysNothing(int code) {
  return code == Unreachable || code == NotPermitted || code == BadAnswer || code == NotTrusted;
}

/// One row of the catalogue: what a code means and which kind of command it belongs to.
struct CatalogueEntry {
  int code;
  _XCOMMAND command;
  const char* text;  ///< a printf format; its "%s" are the arguments of `Raise`, in order
};

/// The process-wide error catalogue.
class ErrorMgr {
 public:
  static ErrorMgr* GetInstance();

  /// The text of `code`: a printf format of one sentence. A code that is not in the catalogue has
  /// a text that says so.
  [[nodiscard]] std::string Get(int code) const;

  /// The kind of command that failures with `code` carry.
  [[nodiscard]] _XCOMMAND CommandOf(int code) const;

 private:
  ErrorMgr() = default;
};

inline const char* Printable(const std::string& text) {
  return text.c_str();
}
inline const char* Printable(const char* text) {
  return text;
}

/// The most "%s" that a text of the catalogue has.
inline constexpr std::size_t kMostArguments = 4;

/// What stands in a message for an argument that was not given.
inline constexpr const char* kNotSaid = "(not said)";

/// Raises error `code`: its catalogue text, formatted with `arguments` (texts, one for each "%s"),
/// thrown as a `ResultStatus` with an empty detail. Any code may be raised without arguments.
template <typename... Arguments>
[[noreturn]] void Raise(int code, const Arguments&... arguments) {
  const ErrorMgr* catalogue = ErrorMgr::GetInstance();
  std::string message;
  // Formatting passes over what is too many, never over what is missing.
  LOGGER::Logger::CreateInstance()->CreateMessage(message, catalogue->Get(code),
                                                  Printable(arguments)..., kNotSaid, kNotSaid,
                                                  kNotSaid, kNotSaid);
  throw ResultStatus(static_cast<unsigned short>(code), message, "", catalogue->CommandOf(code));
}

}  // namespace ErrorManager
