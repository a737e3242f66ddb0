#pragma once

namespace Tool {

/// Runs the command that the arguments name. Never throws. \return the exit code (ExitCodes.h).
int Main(int argc, const char* const* argv);

}  // namespace Tool
