#pragma once

#include <stdexcept>
#include <string>

namespace Planning {

/// Why something was refused before anything was written; the text says what to do about it.
class Failure : public std::runtime_error {
 public:
  enum class Kind {
    Usage,         ///< it was asked for in a way that cannot be done
    BadInput,      ///< a file is malformed, or does not fit the target
    NoInput,       ///< a file does not exist
    NotPermitted,  ///< a file may not be read
    Failed,        ///< anything else
  };
  Failure(Kind failureKind, const std::string& text)
      : std::runtime_error(text), kind(failureKind) {}
  Kind kind;
};

}  // namespace Planning
