#include "tool/Destination.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "plan/Configuration.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

constexpr auto kExtensions = std::to_array<std::string_view>({".ini", ".INI", ".scf", ".SCF"});

}  // namespace

void CheckDestination(const std::string& path, bool overwrite) {
  const std::string extension = std::filesystem::path(path).extension().string();
  if (std::ranges::find(kExtensions, extension) == kExtensions.end()) {
    throw ToolError(ExitUsage, "\"" + path + "\" must end in .ini or .scf");
  }
  Planning::CheckFileName(path);
  CheckReplaceable(path, overwrite);
}

void CheckReplaceable(const std::string& path, bool overwrite) {
  const std::filesystem::path file(path);
  std::error_code error;
  const auto type = std::filesystem::symlink_status(file, error).type();
  if (type == std::filesystem::file_type::not_found || type == std::filesystem::file_type::none) {
    return;  // an unreadable folder shows when the file is created
  }
  if (!std::filesystem::is_regular_file(file, error)) {
    throw ToolError(ExitFailed, "\"" + path + "\" exists and is not a regular file");
  }
  if (!overwrite) {
    throw ToolError(ExitFailed, "\"" + path + "\" exists; --overwrite replaces it");
  }
}

}  // namespace Tool
