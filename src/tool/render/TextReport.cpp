#include "tool/render/TextReport.h"

#include <string>

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
  std::string totals;
  for (const Outcome outcome : Planning::kAllOutcomes) {
    totals += (totals.empty() ? "" : ", ") + std::to_string(report.Count(outcome)) + " " +
              NameOf(outcome);
  }
  messages.Result(totals + ".");
}

void ShowSilence(const Planning::Written& written, const Messages& messages) {
  for (const SDK::WriteNote& note : written.notes) messages.Error(note.path + ": " + note.reason);
  messages.Error(written.notes.empty()
                     ? "the target fell silent; which of the settings were written is not known"
                     : "the target fell silent; above is what it has not taken");
}

}  // namespace Tool
