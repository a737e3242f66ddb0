#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Document.h"
#include "plan/Plan.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/render/TextPlan.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// What `saverestore check` is asked to do.
struct CheckRequest {
  TargetOpener openTarget;  ///< empty to look at the file alone
  std::string file;
  std::optional<Planning::Mode> mode;
  bool json = false;
};

/// Prints what is wrong with a file. \return ExitDone, ExitDifferent for warnings, ExitBadInput for
/// errors.
int RunCheck(const CheckRequest& request, const Messages& messages) {
  const Planning::Request wanted = Planning::RequestOfFile(request.file, request.mode);
  std::vector<Planning::Finding> findings = wanted.findings;
  if (request.openTarget) {
    Progress progress(messages);
    const Planning::Server server(request.openTarget(), Watching(messages, &progress));
    progress.Begin("reading the target");
    findings = Planning::MakePlan(wanted, server).findings;
  }
  if (request.json) {
    messages.Document(Planning::CheckDocument(findings, request.file));
  } else {
    ShowFindings(findings, request.file, messages);
  }
  if (HasErrors(findings)) return ExitBadInput;
  return findings.empty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddCheck(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<CheckRequest>();
  AddFile(command, request->file, "The file");
  AddMode(command, request->mode, kModeOfFile);
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
