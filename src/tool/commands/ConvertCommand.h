#pragma once

#include <string>

#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore convert` is asked to do.
struct ConvertRequest {
  std::string from;
  std::string to;
  bool overwrite = false;  ///< replace an existing file
};

/// Writes the text file `from` as the stream file `to`, or the other way round, whole or not at
/// all. Needs no target.
/// \throws ToolError, ResultStatus  nothing has been written then.
void RunConvert(const ConvertRequest& request, const Messages& messages);

}  // namespace Tool
