#pragma once

#include <string>
#include <vector>

#include "plan/Plan.h"
#include "tool/render/Listing.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What a restore will change, what stays although the file has another value, and what that leads
/// to. `isAll` says that nothing follows: then what the restore says of items that it passes over
/// is there as well.
[[nodiscard]] std::string TextOf(const Planning::Plan& plan, bool isAll, const Style& style);

/// Shows that.
void ShowPlan(const Planning::Plan& plan, bool isAll, const Messages& messages);

/// Shows what is wrong with a file: the errors as the failures that they are, the rest as details.
void ShowRefusal(const Planning::Plan& plan, const Messages& messages);

/// Shows what is wrong with a file, as the outcome.
void ShowFindings(const std::vector<Planning::Finding>& findings, const std::string& file,
                  const Messages& messages);

}  // namespace Tool
