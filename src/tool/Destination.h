#pragma once

#include <string>

namespace Tool {

/// Makes sure that a command may create `file`: nothing is there, or a regular file that
/// `overwrite` gives up. \throws ToolError
void CheckDestination(const std::string& file, bool overwrite);

}  // namespace Tool
