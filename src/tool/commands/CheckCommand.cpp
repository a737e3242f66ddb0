#include "tool/commands/CheckCommand.h"

#include <vector>

#include "plan/Document.h"
#include "plan/Plan.h"
#include "tool/ExitCodes.h"
#include "tool/render/TextPlan.h"

namespace Tool {

int RunCheck(const CheckRequest& request, const Messages& messages) {
  const Planning::Request wanted = Planning::RequestOfFile(request.file, request.mode);
  std::vector<Planning::Finding> findings = wanted.findings;
  if (request.openTarget) {
    const Planning::Server server(request.openTarget(), Watching(messages));
    CheckMode(server.Providers(), wanted.mode);
    const Planning::Rehearsal rehearsal = Planning::Rehearse(wanted, server.Providers());
    const std::vector<Planning::Finding> more = CheckAgainstServer(wanted, rehearsal);
    server.ThrowIfSilent();
    findings.insert(findings.end(), more.begin(), more.end());
  }
  if (request.json) {
    messages.Document(Planning::CheckDocument(findings, request.file));
  } else {
    ShowFindings(findings, request.file, messages);
  }
  if (HasErrors(findings)) return ExitBadInput;
  return findings.empty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
