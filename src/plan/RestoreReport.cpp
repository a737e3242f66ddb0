#include "plan/RestoreReport.h"

#include <algorithm>
#include <map>
#include <type_traits>

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

/// What was sent to the machine and what it says of that, by query path.
struct Sent {
  const std::set<std::string>& paths;
  std::map<std::string, const SDK::WriteNote*> notes;
};

/// The first entry at or below `setting`'s path, or the end. A row of a boot order stands for its
/// device, so whatever is about any position of the order is about the row.
template <typename Container>
auto FindFor(const Setting& setting, const Container& byPath) {
  if (!IsBootOrder(setting.section)) return byPath.find(setting.path);
  const std::string order = setting.path.substr(0, setting.path.rfind('[') + 1);
  const auto first = byPath.lower_bound(order);
  const auto pathOf = [](const auto& entry) -> const std::string& {
    if constexpr (std::is_same_v<Container, std::set<std::string>>) {
      return entry;
    } else {
      return entry.first;
    }
  };
  return first != byPath.end() && pathOf(*first).starts_with(order) ? first : byPath.end();
}

/// Why a setting that the machine could have was not sent.
std::string ReasonNotSent(const Setting& wanted) {
  if (IsBootOrder(wanted.section)) return "the boot order is left alone";
  if (wanted.value.size() > kLongestRead) return "its value is longer than a restore takes";
  if (IsBiosSection(wanted.section) && wanted.value.empty()) return "its value is empty";
  return "a rule keeps this setting as it is";
}

ReportRow RowFor(const Setting& wanted, const Configuration& before, const Configuration& after,
                 const Sent& sent) {
  ReportRow row{wanted.section, wanted.key, Outcome::Skipped, wanted.value, "", ""};
  const Setting* was = before.Find(wanted.section, wanted.key);
  const Setting* now = after.Find(wanted.section, wanted.key);
  if (now == nullptr) {
    row.reason = "this machine has no such setting";
    return row;
  }
  row.present = now->value;
  const auto note = FindFor(*now, sent.notes);
  const bool isNoted = note != sent.notes.end();
  if (SameValue(wanted, *now) && was != nullptr && SameValue(wanted, *was)) {
    row.outcome = Outcome::Unchanged;
  } else if (isNoted && note->second->fate == SDK::WriteNote::Fate::Pending) {
    row.outcome = Outcome::Pending;  // whichever value the machine shows until then
    row.reason = note->second->reason;
  } else if (SameValue(wanted, *now)) {
    row.outcome = Outcome::Applied;
  } else if (isNoted) {
    row.outcome = Outcome::NotApplied;
    row.reason = note->second->reason;
  } else if (FindFor(*now, sent.paths) != sent.paths.end()) {
    row.outcome = Outcome::NotApplied;
    row.reason = "the machine keeps its value";
  } else {
    row.reason = ReasonNotSent(wanted);
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
  Sent all{sent, {}};
  for (const SDK::WriteNote& note : notes) all.notes.try_emplace(note.path, &note);
  for (const Setting& wanted : file.Settings()) {
    if (wanted.section == "SYSTEM") continue;
    report.rows.push_back(RowFor(wanted, before, after, all));
  }
  for (const Setting& setting : after.Settings()) {
    if (setting.section == "SYSTEM" || file.Find(setting.section, setting.key) != nullptr) continue;
    report.rows.push_back(
        {setting.section, setting.key, Outcome::Skipped, "", setting.value, kNotNamed});
  }
  return report;
}

}  // namespace Tool
