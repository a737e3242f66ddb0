#include "tool/Destination.h"

#include <filesystem>
#include <system_error>

#include "tool/ExitCodes.h"

namespace Tool {

void CheckDestination(const std::string& file, bool overwrite) {
  std::error_code error;
  const auto type = std::filesystem::symlink_status(file, error).type();
  if (type == std::filesystem::file_type::not_found || type == std::filesystem::file_type::none) {
    return;  // an unreadable folder shows when the file is created
  }
  if (!std::filesystem::is_regular_file(file, error)) {
    throw ToolError(ExitFailed, "\"" + file + "\" exists and is not a regular file");
  }
  if (!overwrite) {
    throw ToolError(ExitFailed, "\"" + file + "\" exists; --overwrite replaces it");
  }
}

}  // namespace Tool
