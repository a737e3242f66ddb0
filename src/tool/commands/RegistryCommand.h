#pragma once

#include <nlohmann/json_fwd.hpp>

#include "providers/machine/MachineFile.h"

namespace Tool {

/// A server that has the settings of a published BIOS attribute registry, with the values in
/// `attributes`.
[[nodiscard]] Machine::MachineImage MachineOfRegistry(const nlohmann::json& attributes,
                                                      const nlohmann::json& registry);

}  // namespace Tool
