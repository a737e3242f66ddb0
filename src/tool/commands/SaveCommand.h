#pragma once

#include <optional>
#include <string>

#include "plan/Configuration.h"
#include "plan/Selection.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore save` is asked to do.
struct SaveRequest {
  TargetOpener openTarget;
  std::string file;                    ///< "-": standard output
  std::optional<Planning::Mode> mode;  ///< without one, what the target has
  Planning::Selection selection;       ///< of a part
  bool overwrite = false;              ///< replace an existing file
  bool json = false;
};

/// Saves the target's configuration into a file, whole or not at all.
/// \throws ToolError, ResultStatus, Interrupted  nothing has been written then.
void RunSave(const SaveRequest& request, const Messages& messages);

}  // namespace Tool
