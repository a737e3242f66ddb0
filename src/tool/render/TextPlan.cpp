#include "tool/render/TextPlan.h"

#include <unistd.h>

#include <algorithm>

namespace Tool {
namespace {

std::string ValuesOf(const Planning::Change& change) {
  const std::string waits =
      change.waiting ? " (\"" + *change.waiting + "\" waits for the boot)" : "";
  return Arrow(Shown(change.from, change.fromText) + waits, Shown(change.to, change.toText));
}

/// How the file calls the setting at `path`.
std::string NameIn(const Planning::Plan& plan, const std::string& path) {
  const auto change = std::ranges::find(plan.changes, path, &Planning::Change::path);
  return change == plan.changes.end() ? plan.present.NameOf(path) : change->Name();
}

}  // namespace

/// A part writes what it changes; a whole file also what is as it says already.
std::size_t WrittenBy(const Planning::Plan& plan) {
  return plan.request.isPart ? plan.changes.size() : plan.writes.size() - plan.obstacles.size();
}

std::string TextOf(const Planning::Plan& plan, bool isAll, const Style& style) {
  std::vector<ListedSetting> rows;
  for (const Planning::Change& change : plan.changes) {
    rows.push_back({change.section, change.key, ValuesOf(change), "", Tone::Plain, change.path});
  }
  for (const Planning::Obstacle& obstacle : plan.obstacles) {
    const Planning::Change& change = obstacle.change;
    const bool isLater = obstacle.kind == Planning::Obstacle::Kind::NeedsRestart;
    const bool isFault =
        !isLater && obstacle.kind != Planning::Obstacle::Kind::ReadOnly && !obstacle.IsHarmless();
    const char* what = isLater ? "needs another restart: "
                       : obstacle.kind == Planning::Obstacle::Kind::Absent ? ""
                                                                           : "stays as it is: ";
    rows.push_back({change.section, change.key, ValuesOf(change), what + obstacle.reason,
                    isFault ? Tone::Bad : Tone::Open, change.path});
  }
  const std::string& target = plan.request.target;
  std::string text = target.empty() ? "" : "Target: " + Printable(target) + "\n";
  text += Listing(rows, style);
  if (isAll) {
    for (const std::string& skipped : plan.skipped) text += Printable(skipped) + "\n";
  }
  for (const SDK::WriteForesight& foreseen : plan.foresight) {
    text += Printable(NameIn(plan, foreseen.path) + ": " + foreseen.text) + ".\n";
  }
  text += Counted(plan.changes.size(), "setting") + " will change; " +
          std::to_string(WrittenBy(plan)) + " will be written.\n";
  if (const std::size_t later = plan.NeedingRestart(); later > 0) {
    text += Counted(later, "more setting") +
            " can be written once the server has restarted with these: two boots are needed.\n";
  }
  return text;
}

void ShowPlan(const Planning::Plan& plan, bool isAll, const Messages& messages) {
  messages.Lines(TextOf(plan, isAll, StyleFor(STDOUT_FILENO, messages.IsVerbose())));
}

void ShowRefusal(const Planning::Plan& plan, const Messages& messages) {
  for (const Planning::Finding& finding : plan.findings) {
    const std::string text = Describe(finding, plan.request.name);
    if (std::ranges::find(plan.uncompared, finding.text) != plan.uncompared.end()) {
      messages.Warning(plan.request.name + ": " + finding.text);
    } else if (finding.weight == Planning::Finding::Weight::Warning) {
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
