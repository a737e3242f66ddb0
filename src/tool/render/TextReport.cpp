#include "tool/render/TextReport.h"

#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "common/ErrorManager.h"
#include "plan/OptionText.h"
#include "tool/render/Listing.h"

namespace Tool {
namespace {

using Planning::Outcome;
using Planning::Report;
using Planning::ReportRow;

/// The changes of a plan by the name of their setting.
using Changes = std::map<std::string, const Planning::Change*>;

Tone ToneOf(const ReportRow& row) {
  switch (row.outcome) {
    case Outcome::Applied:
      return Tone::Good;
    case Outcome::Pending:
    case Outcome::Unknown:
      return Tone::Open;
    case Outcome::NotApplied:
      return row.isReadOnly ? Tone::Open : Tone::Bad;
    default:
      return Tone::Plain;
  }
}

/// The values of a row: what it was to change, as the plan has it, else what differs.
std::string ValuesOf(const ReportRow& row, const Planning::Setting* present,
                     const Changes& changes) {
  const std::string comment = present == nullptr ? "" : present->comment;
  const auto shown = [&](const std::string& value) {
    return Shown(value, Planning::OptionText(comment, value));
  };
  if (const auto change = changes.find(row.section + "::" + row.key); change != changes.end()) {
    return Arrow(Shown(change->second->from, change->second->fromText),
                 Shown(change->second->to, change->second->toText));
  }
  if (row.reason == Planning::kNotNamed || row.wanted == row.present) return shown(row.present);
  return present == nullptr ? shown(row.wanted) : Arrow(shown(row.present), shown(row.wanted));
}

/// Without --verbose nothing is said of settings that nobody wanted to change.
bool IsWorthALine(const ReportRow& row, const Messages& messages) {
  return messages.IsVerbose() ||
         (row.outcome != Outcome::Unchanged && row.reason != Planning::kNotNamed);
}

std::string Totals(const Report& report) {
  std::string totals;
  for (const Outcome outcome : Planning::kAllOutcomes) {
    if (outcome == Outcome::Unknown && report.Count(outcome) == 0) continue;
    totals += (totals.empty() ? "" : ", ") + std::to_string(report.Count(outcome)) + " " +
              NameOf(outcome);
  }
  return totals + ".\n";
}

}  // namespace

void ShowReport(const Planning::Plan& plan, const Planning::Written& written, const Report& report,
                const Messages& messages) {
  Changes changes;
  for (const Planning::Change& change : plan.changes) changes.try_emplace(change.Name(), &change);
  std::vector<ListedSetting> rows;
  for (const ReportRow& row : report.rows) {
    if (!IsWorthALine(row, messages)) continue;
    const Planning::Setting* present = plan.present.Find(row.section, row.key);
    rows.push_back({row.section, row.key, ValuesOf(row, present, changes),
                    NameOf(row.outcome) + (row.reason.empty() ? "" : " (" + row.reason + ")"),
                    ToneOf(row), present == nullptr ? "" : present->path});
  }
  std::string text;
  for (const std::string& skipped : written.skipped) text += Printable(skipped) + "\n";
  text += Listing(rows, StyleFor(STDOUT_FILENO, messages.IsVerbose()));
  messages.Lines(text + Totals(report));
  if (!report.silence) return;
  const int code = report.silence->getval();
  const std::string what = code == ErrorManager::Unreachable    ? "fell silent"
                           : code == ErrorManager::NotPermitted ? "refuses access"
                                                                : "cannot be read any more";
  messages.Error("the target " + what + "; above is what is known of the writes");
}

}  // namespace Tool
