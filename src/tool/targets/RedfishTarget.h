#pragma once

#include <memory>

#include "tool/targets/TargetKind.h"

namespace Tool {

/// Redfish services: "redfish:[USER@]HOST[:PORT][/SYSTEM]". Each is for the trees "BIOS" and
/// "SMBIOS", and a stand-in for "BMC". Without a source for the password it is asked for on the
/// terminal; without a user nobody logs in.
[[nodiscard]] std::unique_ptr<TargetKind> MakeRedfishKind();

}  // namespace Tool
