#pragma once

#include <string>

namespace Planning {

/// What the setup screen shows for `value`, by the options that the comment of a saved setting
/// lists; empty where it lists no such option.
[[nodiscard]] std::string OptionText(const std::string& comment, const std::string& value);

}  // namespace Planning
