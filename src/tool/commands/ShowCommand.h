#pragma once

#include <string>

#include "tool/terminal/Messages.h"

namespace Tool {

/// Prints what a file is: its [SYSTEM] values, its sections and how many keys each has.
int RunShow(const std::string& file, bool json, const Messages& messages);

}  // namespace Tool
