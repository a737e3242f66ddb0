#pragma once

#include <string>
#include <vector>

#include "plan/Plan.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows what a restore will change. `isAll` says that nothing follows: then what the restore says
/// of items that it passes over is shown as well.
void ShowPlan(const Planning::Plan& plan, bool isAll, const Messages& messages);

/// Shows what is wrong with a file: the errors as the failures that they are, the rest as details.
void ShowRefusal(const Planning::Plan& plan, const Messages& messages);

/// Shows what is wrong with a file, as the outcome.
void ShowFindings(const std::vector<Planning::Finding>& findings, const std::string& file,
                  const Messages& messages);

}  // namespace Tool
