#pragma once

#include <optional>
#include <string>

#include "plan/Configuration.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore check` is asked to do.
struct CheckRequest {
  TargetOpener openTarget;  ///< empty to look at the file alone
  std::string file;
  std::optional<Planning::Mode> mode;
  bool json = false;
};

/// Prints what is wrong with a file. \return ExitDone, ExitDifferent for warnings, ExitBadInput for
/// errors.
int RunCheck(const CheckRequest& request, const Messages& messages);

}  // namespace Tool
