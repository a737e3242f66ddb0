#pragma once

#include <optional>
#include <string>

#include "plan/Configuration.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore diff` is asked to do.
struct DiffRequest {
  TargetOpener openTarget;
  std::string file;
  std::string other;  ///< a second file; empty to compare with the target
  std::optional<Planning::Mode> mode;
  bool json = false;
};

/// Prints how a file differs from the target, or from another file.
/// \return ExitDone, or ExitDifferent when they differ.
int RunDiff(const DiffRequest& request, const Messages& messages);

}  // namespace Tool
