#pragma once

#include <memory>

#include "tool/targets/TargetKind.h"

namespace Tool {

/// Simulated servers: "machine:FILE". Each is for all trees.
[[nodiscard]] std::unique_ptr<TargetKind> MakeMachineKind();

}  // namespace Tool
