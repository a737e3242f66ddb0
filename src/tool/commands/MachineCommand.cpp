#include <CLI/CLI.hpp>
#include <array>

#include "tool/commands/Commands.h"

namespace Tool {
namespace {

constexpr auto kMachineRows = std::to_array<CommandRow>({
    {"capture", "Keep all that a target has in a machine file", AddCapture},
    {"from-registry", "Make a machine file of a published BIOS attribute registry",
     AddFromRegistry},
});

}  // namespace

void AddMachine(CLI::App& command, Command& chosen) {
  command.require_subcommand(1);
  AddCommands(command, kMachineRows, chosen);
}

}  // namespace Tool
