#pragma once

#include <span>
#include <stdexcept>

namespace Tool {

/// Thrown when the user has asked to stop. No `ResultStatus`, so that no read swallows it.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

/// From here on SIGINT, SIGTERM, SIGHUP and SIGQUIT are kept for `ThrowIfInterrupted`, so that what
/// was begun is cleaned up. A second one gives a request that is under way a moment to be given up
/// (`IsHurried`), then ends the process.
void CatchInterrupts();

/// True when one of those signals has come.
[[nodiscard]] bool IsInterrupted();

/// \throws Interrupted  when one of those signals has come.
void ThrowIfInterrupted();

/// True when the user has asked a second time: whoever waits for an answer stops waiting.
[[nodiscard]] bool IsHurried();

/// Waits until `descriptor` has something to read, or its end. \throws Interrupted  a signal came
/// first; none is missed between the look and the wait.
void WaitForInput(int descriptor);

/// Waits for one of several, and says which; those that are negative are passed over.
/// \throws Interrupted
[[nodiscard]] int WaitForInput(std::span<const int> descriptors);

}  // namespace Tool
