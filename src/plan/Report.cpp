#include "plan/Report.h"

#include <algorithm>
#include <map>
#include <set>
#include <type_traits>

#include "modules/save/SectionCatalogue.h"

namespace Planning {
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
  std::set<std::string> paths;
  std::map<std::string, const SDK::WriteNote*> notes;
};

std::set<std::string> PathsOf(const std::vector<RecordedWrite>& writes) {
  std::set<std::string> paths;
  for (const RecordedWrite& write : writes) paths.insert(write.path);
  return paths;
}

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
  } else if (isNoted && note->second->fate == SDK::WriteNote::Fate::Kept) {
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

std::size_t Report::Count(Outcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count(rows, outcome, &ReportRow::outcome));
}

Report ReportOf(const Plan& plan, const Written& written, const Server& server) {
  Report report;
  report.present = ConfigurationOfTarget(plan.request.mode);
  report.silence = server.Silence();
  if (report.silence) return report;
  const Configuration& wanted = plan.request.wanted;
  Sent sent{PathsOf(plan.writes), {}};
  for (const SDK::WriteNote& note : written.notes) sent.notes.try_emplace(note.path, &note);
  for (const Setting& setting : wanted.Settings()) {
    if (setting.section == "SYSTEM") continue;
    report.rows.push_back(RowFor(setting, plan.present, report.present, sent));
  }
  for (const Setting& setting : report.present.Settings()) {
    if (setting.section == "SYSTEM" || wanted.Find(setting.section, setting.key) != nullptr) {
      continue;
    }
    report.rows.push_back(
        {setting.section, setting.key, Outcome::Skipped, "", setting.value, kNotNamed});
  }
  return report;
}

std::vector<SDK::BootMessage> WaitingFromBefore(const Plan& plan, const Server& server) {
  if (plan.request.mode == ModeBmc) return {};
  const std::set<std::string> sent = PathsOf(plan.writes);
  std::vector<SDK::BootMessage> waiting = server.BootMessages();
  std::erase_if(waiting, [&](const SDK::BootMessage& message) {
    return !message.isWaiting || sent.contains(message.path);
  });
  return waiting;
}

}  // namespace Planning
