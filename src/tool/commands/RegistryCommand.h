#pragma once

#include <string>

#include "tool/terminal/Messages.h"

namespace Tool {

/// What `saverestore machine from-registry` is asked to do.
struct RegistryRequest {
  std::string registry;  ///< a BIOS attribute registry as JSON
  std::string values;    ///< a Bios resource, or its "Attributes"; empty: the registry's own values
  std::string out;       ///< the machine file
  bool overwrite = false;
};

/// Makes a machine file of a published attribute registry: a server to rehearse on.
/// \throws ToolError, ResultStatus  a file cannot be read or is not what it should be, or the
///                                  machine file cannot be written.
void RunFromRegistry(const RegistryRequest& request, const Messages& messages);

}  // namespace Tool
