#pragma once

#include <optional>
#include <string>

#include "plan/Configuration.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore verify` is asked to do.
struct VerifyRequest {
  TargetOpener openTarget;
  std::string file;
  std::optional<Planning::Mode> mode;  ///< without one, the mode of the file
  bool json = false;
};

/// After a restore and the boot that it waited for: prints what of the file the target does not
/// have, and what the target says of settings that it was to take over.
/// \return ExitDone when the target has all that the file says, else ExitDifferent.
/// \throws ToolError, ResultStatus  the file or the target cannot be read.
int RunVerify(const VerifyRequest& request, const Messages& messages);

}  // namespace Tool
