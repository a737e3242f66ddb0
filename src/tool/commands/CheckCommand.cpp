#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Document.h"
#include "plan/Layers.h"
#include "plan/Plan.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"
#include "tool/render/TextPlan.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// What `saverestore check` is asked to do.
struct CheckRequest {
  TargetOpener openTarget;  ///< empty to look at the file alone
  std::string file;
  std::optional<Planning::Mode> mode;
  Planning::Selection selection;
  bool json = false;
};

/// The file, or the part of it that is asked for, on a server in `state`.
/// `file` is there as long as the result is used.
Planning::LaidRequest WantedOf(const CheckRequest& request, const InputFile& file,
                               const Planning::State& state) {
  if (!request.selection.IsAll()) {
    return RequestOfPart(file.Path(), file.Name(), request.mode, request.selection, state);
  }
  Planning::LaidRequest whole;
  whole.request = Planning::RequestOfFile(file.Path(), request.mode, file.Name());
  return whole;
}

/// Prints what is wrong with a file. \return ExitDone, ExitDifferent for warnings, ExitBadInput for
/// errors.
int RunCheck(const CheckRequest& request, const Messages& messages) {
  const InputFile file(request.file);
  std::vector<Planning::Finding> findings = WantedOf(request, file, {}).request.findings;
  if (request.openTarget) {
    Progress progress(messages);
    const Planning::Server server(request.openTarget(), Watching(messages, &progress));
    progress.Begin("reading the target");
    Planning::State state;
    if (!request.selection.IsAll()) state = StateOf(server);
    const Planning::LaidRequest wanted = WantedOf(request, file, state);
    findings = Planning::MakePlan(wanted.request, server).findings;
  }
  if (request.json) {
    messages.Document(Planning::CheckDocument(findings, file.Name()));
  } else {
    ShowFindings(findings, file.Name(), messages);
  }
  if (HasErrors(findings)) return ExitBadInput;
  return findings.empty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddCheck(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<CheckRequest>();
  AddFile(command, request->file, "The file");
  AddMode(command, request->mode, kModeOfFile);
  AddSelection(command, request->selection);
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "With a --target it also tells whether FILE can be restored there.\n\n"
      "Example:\n"
      "  saverestore check server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      if (!globals.targets.Names().empty()) request->openTarget = OpenerOf(globals);
      return RunCheck(*request, messages);
    };
  });
}

}  // namespace Tool
