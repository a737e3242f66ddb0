#pragma once

#include <stdexcept>

namespace Tool {

/// Thrown when the user has asked to stop. No `ResultStatus`, so that no read swallows it.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

/// From here on SIGINT, SIGTERM and SIGHUP are kept for `ThrowIfInterrupted`, so that what was
/// begun is cleaned up. A second signal ends the process at once.
void CatchInterrupts();

/// \throws Interrupted  when one of those signals has come.
void ThrowIfInterrupted();

}  // namespace Tool
