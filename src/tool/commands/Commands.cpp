#include "tool/commands/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

namespace Tool {
namespace {

constexpr auto kCommandRows = std::to_array<CommandRow>({
    {"save", "Save the target's configuration into a file", AddSave},
    {"restore", "Write a file back into the target", AddRestore},
    {"apply", "Write what short files want, and leave the rest as it is", AddApply},
    {"undo", "Take back what was written last", AddUndo},
    {"confirm", "Keep what was written with --confirm", AddConfirm},
    {"history", "Show what was written to the target", AddHistory},
    {"diff", "Show how a file differs from the target or a file", AddDiff},
    {"verify", "Show what of a restored file has taken effect at the boot", AddVerify},
    {"pending", "List what waits for the next boot, or take it back", AddPending},
    {"reboot", "Restart the server, so that what waits takes effect", AddReboot},
    {"check", "Look for what is wrong with a file", AddCheck},
    {"report", "Put the JSON documents of many servers into one HTML page", AddReport},
    {"show", "Show what a file is", AddShow},
    {"machine", "Make machine files", AddMachine},
    {"convert", "Turn a text file into a stream file, or back", AddConvert},
    {"extract", "Take a part of a file, or what several files share", AddExtract},
    {"targets", "List the kinds of target of this build", AddTargets},
});

}  // namespace

std::span<const CommandRow> CommandRows() {
  return kCommandRows;
}

void AddCommands(CLI::App& parent, std::span<const CommandRow> rows, Command& chosen,
                 const std::vector<std::string>* words) {
  for (const CommandRow& row : rows) {
    CLI::App* command = parent.add_subcommand(row.name, row.summary);
    const bool isWanted = words == nullptr || std::ranges::find(*words, row.name) != words->end();
    if (isWanted) row.add(*command, chosen);
  }
}

}  // namespace Tool
