#pragma once

namespace Tool {

/// Opens /dev/null for each of the descriptors 0 to 2 that is closed. Otherwise the next file that
/// is opened takes its number, and a warning is written into a saved configuration. To be called
/// before anything is opened. A reader that has gone away ends a write with an error from here on,
/// not the process with a signal.
void SecureStandardStreams();

/// Raises what a failed write to standard output means: a script must not take a part for the
/// whole. \throws ToolError  names the reason that `error`, an errno, stands for.
[[noreturn]] void RaiseUnwritten(int error);

/// Brings what is still kept to the reader of standard output. \return `exitCode`, or ExitFailed
/// with a message when it cannot be written.
[[nodiscard]] int FinishStandardOutput(int exitCode);

}  // namespace Tool
