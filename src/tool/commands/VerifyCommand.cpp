#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>

#include "plan/Document.h"
#include "plan/State.h"
#include "plan/Verification.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"
#include "tool/render/TextDifference.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// What `saverestore verify` is asked to do.
struct VerifyRequest {
  TargetOpener openTarget;
  LayerOptions layers;
  Planning::Selection selection;
  std::optional<Planning::Mode> mode;  ///< without one, the mode of the files
  bool showsOwn = false;               ///< show what differs in what is the host's own
  bool json = false;
};

/// After a restore and the boot that it waited for: prints what of the files the target does not
/// have, and what the target says of settings that it was to take over.
/// \return ExitDone when the target has all that the files say, and they are whole, else
///         ExitDifferent.
/// \throws ToolError, Failure, ResultStatus  a file or the target cannot be read.
int RunVerify(const VerifyRequest& request, const Messages& messages) {
  const WantedLayers layers(request.layers, request.selection, request.mode);
  Progress progress(messages);
  const Planning::Server server(request.openTarget(), Watching(messages, &progress));
  progress.Begin("reading the target");
  Planning::Configuration present = PresentOf(server, layers.Mode());
  const Planning::Configuration wanted = layers.On(present);
  const Planning::Verification verification =
      Planning::Verify(wanted, std::move(present), layers.Mode(), server);
  if (request.json) {
    messages.Document(Planning::VerifyDocument(verification, request.layers.Name(), layers.Mode()));
  } else {
    ShowVerification(verification, request.showsOwn, messages);
  }
  const std::vector<std::string> cut = layers.Cut();
  for (const std::string& text : cut) messages.Warning(text);
  return verification.IsAsWanted() && cut.empty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddVerify(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<VerifyRequest>();
  AddLayers(command, request->layers, "The file that was restored, or files laid over each other");
  AddSelection(command, request->selection);
  AddMode(command, request->mode, kModeOfFile);
  command.add_flag("--all", request->showsOwn,
                   "Show also what differs in settings that a restore never writes");
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "Settings that the target has and no FILE names are no difference. With the\n"
      "differences come the messages that the target has left of its last boot.\n\n"
      "Example:\n"
      "  saverestore --target redfish:admin@bmc.example verify server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      return RunVerify(*request, messages);
    };
  });
}

}  // namespace Tool
