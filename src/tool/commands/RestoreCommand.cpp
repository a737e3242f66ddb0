#include "tool/commands/RestoreCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "plan/Layers.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"

namespace Tool {
namespace {

/// Writes back the part of a file that is selected, and leaves the rest as it is.
int RestorePart(const RestoreRequest& request, const InputFile& file, const Messages& messages) {
  Planning::LaidRequest laid;  // its file outlives the writing
  const auto make = [&](const Planning::Server& server) {
    laid =
        RequestOfPart(file.Path(), file.Name(), request.mode, request.selection, StateOf(server));
    const bool comparesSystem = request.selection.Covers("SYSTEM", "") && !request.skipSystemCheck;
    if (comparesSystem && laid.request.wanted.Of("SYSTEM").empty()) {
      throw ToolError(ExitBadInput, file.Name() +
                                        " has no [SYSTEM] section to compare with the target; "
                                        "--skip-system-check goes without; nothing was written");
    }
    return laid.request;
  };
  return CarryOut(request, make, messages);
}

}  // namespace

int RunRestore(const RestoreRequest& request, const Messages& messages) {
  const InputFile file(request.file);
  if (!request.selection.IsAll()) return RestorePart(request, file, messages);
  // A file that cannot be read is told before a password is asked for.
  const Planning::Request wanted = Planning::RequestOfFile(file.Path(), request.mode, file.Name());
  return CarryOut(
      request, [&](const Planning::Server&) { return Planning::Request(wanted); }, messages);
}

void AddRestore(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RestoreRequest>();
  AddFile(command, request->file, "The file to restore; - reads standard input");
  AddMode(command, request->mode,
          "What to restore: bios (with the boot order), bmc, or all; default: what FILE "
          "holds");
  AddSelection(command, request->selection);
  AddWriteOptions(command, *request);
  command.footer(
      "Checks FILE, saves the present configuration for \"undo\", shows what will change,\n"
      "asks on the terminal, restores, and reports what became of each setting. When\n"
      "nothing would change, nothing is written.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json restore --dry-run server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      TakeTargets(globals, *request);
      return RunRestore(*request, messages);
    };
  });
}

}  // namespace Tool
