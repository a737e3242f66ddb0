#pragma once

#include <functional>
#include <memory>
#include <string>

#include "query/QueryProvider.h"
#include "tool/Messages.h"

namespace Tool {

/// What `saverestore save` is asked to do.
struct SaveRequest {
  std::function<std::shared_ptr<SDK::QueryProvider>()> openTarget;
  std::string file;
  int mode = 2;            ///< 0 BIOS, 1 BMC, 2 both
  bool overwrite = false;  ///< replace an existing file
};

/// Saves the target's configuration into a file, whole or not at all.
/// \throws ToolError, ResultStatus, Interrupted  nothing has been written then.
void RunSave(const SaveRequest& request, const Messages& messages);

}  // namespace Tool
