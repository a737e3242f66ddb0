#pragma once

#include <vector>

#include "plan/Configuration.h"
#include "plan/FileCheck.h"
#include "plan/RecordingProvider.h"
#include "plan/Request.h"

namespace Planning {

/// The names of the BMC part of a file that no server has: a section or key that was mistyped.
[[nodiscard]] std::vector<Finding> UnknownAnywhere(const Configuration& file);

/// The names of what is wanted that the server, which has `present`, does not know: of the BIOS
/// part, and where a part of the settings is wanted, also those of the BMC that none of `writes` is
/// for. A whole file may be of a server with more channels; a short one means what it says. Devices
/// of a boot order are none: what is wrong with those a restore tells.
[[nodiscard]] std::vector<Finding> UnknownOnServer(const Request& request,
                                                   const Configuration& present,
                                                   const std::vector<RecordedWrite>& writes);

}  // namespace Planning
