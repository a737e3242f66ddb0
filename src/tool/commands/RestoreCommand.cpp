#include "tool/commands/RestoreCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "tool/commands/Commands.h"

namespace Tool {

int RunRestore(const RestoreRequest& request, const Messages& messages) {
  // A file that cannot be read is told before a password is asked for.
  const Planning::Request wanted = Planning::RequestOfFile(request.file, request.mode);
  return CarryOut(
      request, [&](const Planning::Server&) { return Planning::Request(wanted); }, messages);
}

void AddRestore(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RestoreRequest>();
  AddFile(command, request->file, "The file to restore");
  AddMode(command, request->mode,
          "What to restore: bios (with the boot order), bmc, or all; default: what FILE "
          "holds");
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
      request->files = {request->file};
      return RunRestore(*request, messages);
    };
  });
}

}  // namespace Tool
