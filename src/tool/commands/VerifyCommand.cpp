#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "plan/FileCheck.h"
#include "plan/Verification.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/render/TextDifference.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// What `saverestore verify` is asked to do.
struct VerifyRequest {
  TargetOpener openTarget;
  std::string file;
  std::optional<Planning::Mode> mode;  ///< without one, the mode of the file
  bool json = false;
};

/// After a restore and the boot that it waited for: prints what of the file the target does not
/// have, and what the target says of settings that it was to take over.
/// \return ExitDone when the target has all that the file says, and the file is whole, else
///         ExitDifferent.
/// \throws ToolError, ResultStatus  the file or the target cannot be read.
int RunVerify(const VerifyRequest& request, const Messages& messages) {
  const Planning::ConfigurationFile file = Planning::WellFormed(request.file);
  const Planning::Mode mode = request.mode.value_or(ModeOf(file.Content()));
  Progress progress(messages);
  const Planning::Server server(request.openTarget(), Watching(messages, &progress));
  progress.Begin("reading the target");
  const Planning::Verification verification =
      Planning::Verify(file.Content(), mode, server, request.file);
  if (request.json) {
    messages.Document(Planning::VerifyDocument(verification, request.file, mode));
  } else {
    ShowVerification(verification, messages);
  }
  const std::vector<Planning::Finding> end = CheckEnd(file);
  for (const Planning::Finding& finding : end) {
    messages.Warning(request.file + ": " + finding.text);
  }
  return verification.IsAsWanted() && end.empty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddVerify(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<VerifyRequest>();
  AddFile(command, request->file, "The file that was restored");
  AddMode(command, request->mode, kModeOfFile);
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "Settings that the target has and FILE does not name are no difference. With the\n"
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
