#pragma once

#include <vector>

#include "plan/FileCheck.h"
#include "plan/Request.h"

namespace Planning {

/// What keeps the boot entries of the file from the mounted server, if anything: the module passes
/// over the boot order of a server that shows none, and nobody would learn of it.
[[nodiscard]] std::vector<Finding> CheckBootEntries(const Request& request);

}  // namespace Planning
