#pragma once

#include <string>

#include "plan/FleetReport.h"

namespace Tool {

/// A report as one HTML page that stands alone: it loads nothing, its policy lets only its own
/// script and style work, and it reads without them too. `made` says when and of what it was made.
[[nodiscard]] std::string HtmlReport(const Planning::FleetReport& report, const std::string& made);

}  // namespace Tool
