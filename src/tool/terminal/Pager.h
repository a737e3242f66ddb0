#pragma once

#include <string>

namespace Tool {

/// Shows `text` on standard output through the user's pager: $PAGER, else less. \return false when
/// it is for no pager: standard output is no terminal, the text fits it, or there is no pager.
/// Nothing has been shown then.
[[nodiscard]] bool ShowThroughPager(const std::string& text);

}  // namespace Tool
