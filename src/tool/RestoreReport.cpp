#include "tool/RestoreReport.h"

#include <algorithm>

#include "modules/save/SectionCatalogue.h"

namespace Tool {
namespace {

struct OutcomeName {
  Outcome outcome;
  const char* name;
};
constexpr auto kOutcomeNames = std::to_array<OutcomeName>({
    {Outcome::Unchanged, "unchanged"},
    {Outcome::Applied, "applied"},
    {Outcome::NotApplied, "not applied"},
    {Outcome::Skipped, "skipped"},
});

/// Boot orders name positions, so their rows say nothing of the paths that are written.
bool IsBootOrder(const std::string& section) {
  return section == "BIOS::BootOrder" || section == "BootOrder::Hard Disk";
}

ReportRow RowFor(const Setting& wanted, const Configuration& before, const Configuration& after,
                 const std::set<std::string>& sent) {
  ReportRow row{wanted.section, wanted.key, Outcome::Skipped, wanted.value, "", ""};
  const Setting* was = before.Find(wanted.section, wanted.key);
  const Setting* now = after.Find(wanted.section, wanted.key);
  if (now == nullptr) {
    row.reason = "this machine has no such setting";
    return row;
  }
  row.present = now->value;
  if (SameValue(wanted, *now)) {
    const bool same = was != nullptr && SameValue(wanted, *was);
    row.outcome = same ? Outcome::Unchanged : Outcome::Applied;
  } else if (IsBootOrder(wanted.section) || sent.contains(now->path)) {
    row.outcome = Outcome::NotApplied;
    row.reason = "the machine keeps its value";
  } else {
    row.reason = "a rule keeps this setting as it is";
  }
  return row;
}

}  // namespace

const char* NameOf(Outcome outcome) {
  return std::ranges::find(kOutcomeNames, outcome, &OutcomeName::outcome)->name;
}

std::size_t RestoreReport::Count(Outcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count(rows, outcome, &ReportRow::outcome));
}

RestoreReport Report(const Configuration& file, const Configuration& before,
                     const Configuration& after, const std::set<std::string>& sent) {
  RestoreReport report;
  for (const Setting& wanted : file.Settings()) {
    if (wanted.section != "SYSTEM") report.rows.push_back(RowFor(wanted, before, after, sent));
  }
  for (const Setting& setting : after.Settings()) {
    if (setting.section == "SYSTEM" || file.Find(setting.section, setting.key) != nullptr) continue;
    report.rows.push_back({setting.section, setting.key, Outcome::Skipped, "", setting.value,
                           "the file does not name it"});
  }
  return report;
}

}  // namespace Tool
