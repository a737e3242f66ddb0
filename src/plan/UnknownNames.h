#pragma once

#include <vector>

#include "plan/Configuration.h"
#include "plan/FileCheck.h"
#include "plan/Request.h"

namespace Planning {

/// The names of the BMC part of a file that no server has: a section or key that was mistyped.
[[nodiscard]] std::vector<Finding> UnknownAnywhere(const Configuration& file);

/// The names of the BIOS part of what is wanted that the server, which has `present`, does not
/// know. Devices of a boot order are none: what is wrong with those a restore tells.
[[nodiscard]] std::vector<Finding> UnknownOnServer(const Request& request,
                                                   const Configuration& present);

}  // namespace Planning
