#pragma once

#include <string_view>

namespace Redfish {

/// True when the text attribute of this name holds a secret by its name, whatever the registry says
/// of it: such an attribute is neither read nor written.
[[nodiscard]] bool NamesSecret(std::string_view attribute);

}  // namespace Redfish
