#include "tool/render/TextPlan.h"

namespace Tool {

void ShowPlan(const Planning::Plan& plan, bool isAll, const Messages& messages) {
  for (const Planning::Change& change : plan.changes) {
    const std::string waits =
        change.waiting ? " (\"" + *change.waiting + "\" waits for the boot)" : "";
    messages.Result(change.path + ": \"" + change.from + "\"" + waits + " -> \"" + change.to +
                    "\"");
  }
  for (const Planning::Obstacle& obstacle : plan.obstacles) {
    messages.Result(obstacle.change.Name() + " stays as it is: " + obstacle.reason);
  }
  if (isAll) {
    for (const std::string& text : plan.skipped) messages.Result(text);
  }
  messages.Result(Counted(plan.changes.size(), "setting") + " will change; " +
                  std::to_string(plan.writes.size() - plan.obstacles.size()) + " will be written.");
}

void ShowRefusal(const Planning::Plan& plan, const Messages& messages) {
  for (const Planning::Finding& finding : plan.findings) {
    const std::string text = Describe(finding, plan.request.name);
    if (finding.weight == Planning::Finding::Weight::Warning) {
      messages.Detail(text);
    } else {
      messages.Error(text);
    }
  }
}

void ShowFindings(const std::vector<Planning::Finding>& findings, const std::string& file,
                  const Messages& messages) {
  for (const Planning::Finding& finding : findings) messages.Result(Describe(finding, file));
}

}  // namespace Tool
