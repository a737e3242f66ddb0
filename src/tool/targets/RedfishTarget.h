#pragma once

#include <string>

#include "tool/targets/Targets.h"

namespace Tool {

/// Opens the Redfish service at `place`, "[USER@]HOST[:PORT][/SYSTEM]". It is for the trees "BIOS"
/// and "SMBIOS", and a stand-in for "BMC". Without a source for the password it is asked for on the
/// terminal; without a user nobody logs in.
/// \throws ToolError     the place or an option is malformed, or there is no password.
/// \throws ResultStatus  what connecting and logging in throw.
[[nodiscard]] Planning::Mounts OpenRedfish(const std::string& place, const TargetOptions& options);

}  // namespace Tool
