#pragma once

#include <string>
#include <vector>

#include "targets/TargetKind.h"

namespace Tool {

/// The folder with the modules: beside the program as it is installed or built. A test may name
/// another one in SAVERESTORE_MODULES.
[[nodiscard]] std::string ModuleFolder();

/// The kinds that have a module in `folder`, in the order of their names.
[[nodiscard]] std::vector<std::string> ModuleNames(const std::string& folder);

/// Loads the module of the kind `name`, for as long as the process lives.
/// \throws ToolError  it cannot be loaded, is none, or somebody else could have put it there.
[[nodiscard]] const Targets::Module& LoadModule(const std::string& folder, const std::string& name);

}  // namespace Tool
