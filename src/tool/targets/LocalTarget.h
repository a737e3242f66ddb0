#pragma once

#include <memory>

#include "tool/targets/TargetKind.h"

namespace Tool {

/// The machine that the tool runs on: "local". It is for the trees "BIOS" and "SMBIOS", and for
/// "BMC" where the build has IPMI and the machine a BMC.
[[nodiscard]] std::unique_ptr<TargetKind> MakeLocalKind();

}  // namespace Tool
