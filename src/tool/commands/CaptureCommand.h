#pragma once

#include <string>
#include <vector>

#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore machine capture` is asked to do.
struct CaptureRequest {
  TargetOpener openTarget;
  std::string file;
  bool overwrite = false;            ///< replace an existing file
  std::vector<std::string> targets;  ///< as given: the file must be none of them
};

/// Reads all that the target has into a machine file, whole or not at all, mode 0600. A save from
/// `machine:FILE` is then byte for byte a save from the target. Passwords are left out; what a
/// setting accepts beyond its options is not known, and so not kept.
/// \throws ToolError, ResultStatus, Interrupted  nothing has been written then.
void RunCapture(const CaptureRequest& request, const Messages& messages);

}  // namespace Tool
