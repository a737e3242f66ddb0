#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "tool/commands/Commands.h"

namespace Tool {
namespace {

Planning::Mode ModeOf(const std::string& name) {
  const auto* mode = std::ranges::find(Planning::kModeNames, name, &Planning::ModeName::name);
  if (mode == std::end(Planning::kModeNames)) {
    throw CLI::ValidationError("\"" + name + "\" is not bios, bmc or all");
  }
  return mode->mode;
}

}  // namespace

void AddFile(CLI::App& command, std::string& file, const std::string& description) {
  command.add_option("FILE", file, description)->required()->type_name("");
}

void AddMode(CLI::App& command, std::optional<Planning::Mode>& mode,
             const std::string& description) {
  command.add_option("--mode")
      ->description(description)
      ->type_name("bios|bmc|all")
      ->each([&mode](const std::string& name) { mode = ModeOf(name); });
}

void AddBackupDir(CLI::App& command, std::string& folder) {
  command
      .add_option("--backup-dir", folder,
                  "Where the history is kept; default: below $XDG_STATE_HOME, of root below "
                  "/var/lib")
      ->type_name("DIR");
}

TargetOpener OpenerOf(const Globals& globals) {
  return [&globals] { return globals.targets.Open(); };
}

}  // namespace Tool
