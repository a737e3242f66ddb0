#pragma once

#include <string>

namespace Tool {

/// Asks a question that is to be answered with yes. True also when there is nobody to ask: standard
/// input is no terminal then.
[[nodiscard]] bool Confirms(const std::string& question);

}  // namespace Tool
