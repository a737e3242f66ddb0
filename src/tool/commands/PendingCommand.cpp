#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <memory>

#include "plan/Document.h"
#include "plan/State.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Writing.h"

namespace Tool {
namespace {

/// What `saverestore pending` is asked to do.
struct PendingRequest {
  TargetOpener openTarget;
  bool clear = false;
  bool json = false;
};

/// What waits for the next boot, with the names of a file.
std::vector<Planning::Waiting> WaitingOf(const Planning::Server& server) {
  const Planning::Configuration present = PresentOfWhatIsThere(server, Planning::ModeBios);
  std::vector<Planning::Waiting> waiting;
  for (const SDK::BootMessage& message : server.BootMessages()) {
    if (message.isWaiting) waiting.push_back({present.NameOf(message.path), message.value});
  }
  return waiting;
}

/// \return ExitDone when nothing waits, afterwards if that was asked for, else ExitDifferent.
int RunPending(const PendingRequest& request, const Messages& messages) {
  const Planning::Server server(request.openTarget(), Watching(messages));
  Planning::CheckMode(server.Providers(), Planning::ModeBios);
  if (request.clear) server.Providers().at("BIOS").provider->ClearWaiting();
  const std::vector<Planning::Waiting> waiting = WaitingOf(server);
  if (request.json) {
    messages.Document(Planning::PendingDocument(waiting));
  } else {
    for (const Planning::Waiting& setting : waiting) {
      messages.Result(setting.name + ": \"" + setting.value + "\" waits for the boot");
    }
    messages.Result(waiting.empty() ? "Nothing waits for the boot."
                                    : Counted(waiting.size(), "setting") + " will change.");
  }
  return waiting.empty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddPending(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<PendingRequest>();
  command.add_flag("--clear", request->clear, "Take it back: the boot changes nothing then");
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "Exits with 0 when nothing waits, and with 1 when something does.\n\n"
      "Example:\n"
      "  saverestore --target redfish:admin@bmc.example pending --clear\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      if (request->clear) ThrowIfGuarded(globals.targets.Names());
      return RunPending(*request, messages);
    };
  });
}

}  // namespace Tool
