#pragma once

#include "tool/guard/Guard.h"

namespace Tool {

/// What the guard's process does, from its birth to its end: it takes a session, closes all that it
/// has inherited but the channel to the tool, and watches. Signals that end a login pass by; a
/// SIGTERM has it take back at once.
/// \return the exit code of the process.
int RunGuard(const Watch& watch, int channel) noexcept;

}  // namespace Tool
