#include "tool/render/TextReport.h"

#include <string>

#include "common/ErrorManager.h"

namespace Tool {

using Planning::Outcome;

void ShowReport(const Planning::Report& report, const Planning::Written& written,
                const Messages& messages) {
  for (const std::string& text : written.skipped) messages.Result(text);
  for (const Planning::ReportRow& row : report.rows) {
    const std::string text = row.section + "::" + row.key + ": " + NameOf(row.outcome) +
                             (row.reason.empty() ? "" : " (" + row.reason + ")");
    if (row.outcome == Outcome::Unchanged || row.reason == Planning::kNotNamed) {
      messages.Detail(text);
    } else {
      messages.Result(text);
    }
  }
  if (report.silence) {
    messages.Error(
        report.silence->getval() == ErrorManager::Unreachable
            ? "the target fell silent; above is what is known of the writes"
            : "the target cannot be read any more; above is what is known of the writes");
  }
  std::string totals;
  for (const Outcome outcome : Planning::kAllOutcomes) {
    if (outcome == Outcome::Unknown && report.Count(outcome) == 0) continue;
    totals += (totals.empty() ? "" : ", ") + std::to_string(report.Count(outcome)) + " " +
              NameOf(outcome);
  }
  messages.Result(totals + ".");
}

}  // namespace Tool
