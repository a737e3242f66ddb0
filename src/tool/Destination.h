#pragma once

#include <string>

namespace Tool {

/// Checks that a configuration file may be written to `path`, before anything is read for it.
/// \throws ToolError  its extension is none of a configuration file, it exists and is no regular
///                    file, or it exists and is not to be overwritten.
/// \throws Failure  it is longer than a restore takes.
void CheckDestination(const std::string& path, bool overwrite);

/// The same for a file of any other kind, whatever its extension. \throws ToolError
void CheckReplaceable(const std::string& path, bool overwrite);

}  // namespace Tool
