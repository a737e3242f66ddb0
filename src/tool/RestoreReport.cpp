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
    {Outcome::Pending, "pending until the next boot"},
    {Outcome::NotApplied, "not applied"},
    {Outcome::Skipped, "skipped"},
});

/// Boot orders name positions, so their rows say nothing of the paths that are written.
bool IsBootOrder(const std::string& section) {
  return section == "BIOS::BootOrder" || section == "BootOrder::Hard Disk";
}

/// What the machine says of the write to `path`, or null. A row of a boot order stands for its
/// device, so a note on any position of the order is one on the row.
const SDK::WriteNote* NoteOn(const Setting& setting, const std::vector<SDK::WriteNote>& notes) {
  const std::string order = setting.path.substr(0, setting.path.rfind('[') + 1);
  const auto note = std::ranges::find_if(notes, [&](const SDK::WriteNote& candidate) {
    return IsBootOrder(setting.section) ? candidate.path.starts_with(order)
                                        : candidate.path == setting.path;
  });
  return note == notes.end() ? nullptr : &*note;
}

ReportRow RowFor(const Setting& wanted, const Configuration& before, const Configuration& after,
                 const std::set<std::string>& sent, const std::vector<SDK::WriteNote>& notes) {
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
  } else if (const SDK::WriteNote* note = NoteOn(*now, notes)) {
    const bool pending = note->fate == SDK::WriteNote::Fate::Pending;
    row.outcome = pending ? Outcome::Pending : Outcome::NotApplied;
    row.reason = note->reason;
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
                     const Configuration& after, const std::set<std::string>& sent,
                     const std::vector<SDK::WriteNote>& notes) {
  RestoreReport report;
  for (const Setting& wanted : file.Settings()) {
    if (wanted.section == "SYSTEM") continue;
    report.rows.push_back(RowFor(wanted, before, after, sent, notes));
  }
  for (const Setting& setting : after.Settings()) {
    if (setting.section == "SYSTEM" || file.Find(setting.section, setting.key) != nullptr) continue;
    report.rows.push_back({setting.section, setting.key, Outcome::Skipped, "", setting.value,
                           "the file does not name it"});
  }
  return report;
}

}  // namespace Tool
