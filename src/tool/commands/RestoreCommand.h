#pragma once

#include <optional>
#include <string>

#include "plan/Configuration.h"
#include "plan/Selection.h"
#include "tool/commands/Writing.h"

namespace Tool {

/// What `saverestore restore` is asked to do.
struct RestoreRequest : WriteOptions {
  std::string file;
  std::optional<Planning::Mode> mode;  ///< without one, the mode of the file
  Planning::Selection selection;       ///< which of its settings
};

/// Writes a file back, or a part of it. \return, \throws  as CarryOut.
int RunRestore(const RestoreRequest& request, const Messages& messages);

}  // namespace Tool
