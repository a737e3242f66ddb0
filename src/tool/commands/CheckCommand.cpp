#include "tool/commands/CheckCommand.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "plan/ConfigurationFile.h"
#include "plan/FileCheck.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

using nlohmann::ordered_json;

void PrintFindings(const std::vector<Finding>& findings, const CheckRequest& request,
                   const Messages& messages) {
  if (!request.json) {
    for (const Finding& finding : findings) {
      messages.Result(Describe(finding, request.choice.file));
    }
    return;
  }
  ordered_json list = ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"severity", finding.weight == Finding::Weight::Error ? "error" : "warning"},
                    {"line", finding.line},
                    {"text", finding.text}});
  }
  const ordered_json document = {
      {"schema", "saverestore-check/1"}, {"file", request.choice.file}, {"findings", list}};
  messages.Document(document.dump(2, ' ', false, ordered_json::error_handler_t::replace));
}

}  // namespace

int RunCheck(CheckRequest request, const Messages& messages) {
  const ConfigurationFile file(request.choice.file);
  std::vector<Finding> findings = CheckFile(file);
  if (request.openTarget) {
    request.choice.mode = request.mode.value_or(ModeOf(file.Content()));
    const WatchedTarget target(request.openTarget, messages);
    CheckMode(target.Providers(), request.choice.mode);
    const Rehearsal rehearsal = Rehearse(request.choice, target.Providers());
    const std::vector<Finding> more = CheckAgainstTarget(request.choice, rehearsal);
    target.ThrowIfSilent();
    findings.insert(findings.end(), more.begin(), more.end());
  }
  PrintFindings(findings, request, messages);
  if (HasErrors(findings)) return ExitBadInput;
  return findings.empty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
