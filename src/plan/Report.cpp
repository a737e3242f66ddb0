#include "plan/Report.h"

#include <algorithm>
#include <map>
#include <set>
#include <type_traits>

#include "common/ErrorManager.h"
#include "plan/Compare.h"

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
    {Outcome::Unknown, "not read back"},
});

const std::string kNeedsRestart = "it needs another restart";

/// What was to be sent to the server, how far that has come, and what the server says of it.
struct Sent {
  const Plan& plan;
  const Written& written;
  std::set<std::string> paths;
  std::map<std::string, const SDK::WriteNote*> notes;
  std::map<std::string, const Obstacle*> obstacles;

  Sent(const Plan& ofPlan, const Written& ofWrites) : plan(ofPlan), written(ofWrites) {
    for (const RecordedWrite& write : plan.writes) paths.insert(write.path);
    for (const Obstacle& obstacle : plan.obstacles) {
      obstacles.try_emplace(obstacle.change.path, &obstacle);
    }
    // Where one setting has several notes, a refusal is the last word.
    for (const SDK::WriteNote& note : written.notes) {
      const SDK::WriteNote*& kept = notes[note.path];
      if (kept == nullptr || kept->fate != SDK::WriteNote::Fate::Refused) kept = &note;
    }
  }
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

/// Why the server has not got a value that was to be sent to `path`.
std::string ReasonNotApplied(const std::string& path, const Sent& sent) {
  const auto& failure = sent.written.failure;
  const auto delivery = sent.written.deliveries.find(path);
  if (delivery == sent.written.deliveries.end()) {
    return failure ? "not sent: the restore ended before it" : "not sent";
  }
  switch (delivery->second) {
    case Delivery::Taken:
      return "the machine keeps its value";
    case Delivery::Refused:
      // The message of a refused batch names the setting that it is about.
      return failure && failure->message().find(path + " ") != std::string::npos
                 ? "the target refuses it"
                 : "not sent: the target refused another setting of its batch";
    case Delivery::Unknown:
      return failure && failure->getval() == ErrorManager::NotPermitted
                 ? "the target refused access when it was sent"
                 : "the connection broke while it was sent";
  }
  return "";
}

/// What the server says of a write, where that is the last word.
std::optional<Outcome> OutcomeOf(const SDK::WriteNote* note) {
  if (note == nullptr || note->fate == SDK::WriteNote::Fate::Ignored) return std::nullopt;
  if (note->fate == SDK::WriteNote::Fate::Skipped) return Outcome::Skipped;
  return note->fate == SDK::WriteNote::Fate::Pending ? Outcome::Pending : Outcome::NotApplied;
}

bool IsRefusal(const SDK::WriteNote* note) {
  return note != nullptr && note->fate == SDK::WriteNote::Fate::Refused;
}

/// The outcome of a setting that the server has, into `row`.
void Judge(const Setting& wanted, const Setting& now, const Sent& sent, ReportRow& row) {
  const Setting* was = sent.plan.present.Find(wanted.section, wanted.key);
  const auto found = FindFor(now, sent.notes);
  const SDK::WriteNote* note = found == sent.notes.end() ? nullptr : found->second;
  const auto obstacle = sent.obstacles.find(now.path);
  const bool isSame = SameValue(wanted, now);
  const auto path = FindFor(now, sent.paths);
  if (obstacle != sent.obstacles.end() && !IsBootOrder(wanted.section)) {
    row.outcome = obstacle->second->IsHarmless() ? Outcome::Skipped : Outcome::NotApplied;
    row.reason = obstacle->second->reason;
    row.isReadOnly = obstacle->second->kind == Obstacle::Kind::ReadOnly;
    row.needsRestart = obstacle->second->kind == Obstacle::Kind::NeedsRestart;
    if (row.needsRestart) row.reason += ", " + kNeedsRestart;
  } else if (isSame && was != nullptr && SameValue(wanted, *was) && !IsRefusal(note)) {
    row.outcome = Outcome::Unchanged;
  } else if (const auto said = OutcomeOf(note); note != nullptr && said) {
    row.outcome = *said;  // whichever value the machine shows
    row.reason = note->reason;
  } else if (isSame) {
    row.outcome = Outcome::Applied;
  } else if (note != nullptr || path != sent.paths.end()) {
    row.outcome = Outcome::NotApplied;
    row.reason = note != nullptr ? note->reason : ReasonNotApplied(*path, sent);
  } else {
    row.reason = ReasonNotSent(wanted);
  }
}

ReportRow RowFor(const Setting& wanted, const Configuration& after, const Sent& sent) {
  ReportRow row{wanted.section, wanted.key, Outcome::Skipped, wanted.value, "", ""};
  const Setting* now = after.Find(wanted.section, wanted.key);
  if (now == nullptr) {
    row.reason = "this machine has no such setting";
    return row;
  }
  row.present = now->value;
  Judge(wanted, *now, sent, row);
  return row;
}

/// What is known of a change when the server cannot be read any more.
ReportRow BlindRowFor(const Change& change, const Sent& sent) {
  ReportRow row{change.section, change.key, Outcome::Unknown, change.to, "", ""};
  const auto note = sent.notes.find(change.path);
  const auto delivery = sent.written.deliveries.find(change.path);
  const bool isTold = delivery != sent.written.deliveries.end();
  if (const auto said = OutcomeOf(note == sent.notes.end() ? nullptr : note->second)) {
    row.outcome = *said;
    row.reason = note->second->reason;
  } else if (!isTold || delivery->second == Delivery::Refused) {
    row.outcome = Outcome::NotApplied;
    row.reason = ReasonNotApplied(change.path, sent);
  } else {
    row.reason = delivery->second == Delivery::Taken ? "the target has taken it"
                                                     : ReasonNotApplied(change.path, sent);
  }
  return row;
}

/// Reports the values that are taken from the key of `setting`, under that key; `reported` gets the
/// paths of their settings. \return whether there are any.
bool AddTaken(const Setting& setting, const Sent& sent, Report& report,
              std::set<std::string>& reported) {
  const std::size_t before = report.rows.size();
  for (const TakenValue& value : sent.plan.taken) {
    if (value.section != setting.section || value.key != setting.key) continue;
    const auto now = std::ranges::find(report.present.Settings(), value.path, &Setting::path);
    if (now == report.present.Settings().end()) continue;
    ReportRow row = RowFor({now->section, now->key, value.value, "", ""}, report.present, sent);
    row.section = setting.section;
    row.key = setting.key;
    report.rows.push_back(std::move(row));
    reported.insert(value.path);
  }
  return report.rows.size() != before;
}

void AddRows(const Configuration& wanted, const Sent& sent, Report& report) {
  std::set<std::string> reported;  // settings whose value stands under another key
  for (const Setting& setting : wanted.Settings()) {
    if (setting.section == "SYSTEM") continue;
    const bool isTaken = AddTaken(setting, sent, report, reported);
    if (isTaken && report.present.Find(setting.section, setting.key) == nullptr) continue;
    report.rows.push_back(RowFor(setting, report.present, sent));
  }
  if (sent.plan.request.isPart) return;
  for (const Setting& setting : report.present.Settings()) {
    if (setting.section == "SYSTEM" || wanted.Find(setting.section, setting.key) != nullptr ||
        reported.contains(setting.path)) {
      continue;
    }
    report.rows.push_back(
        {setting.section, setting.key, Outcome::Skipped, "", setting.value, kNotNamed});
  }
}

/// True when the file wants what waits.
bool IsWanted(const SDK::BootMessage& message, const Configuration& wanted,
              const Configuration& present) {
  const auto setting = std::ranges::find(present.Settings(), message.path, &Setting::path);
  if (setting == present.Settings().end()) return false;
  const Setting* ofFile = wanted.Find(setting->section, setting->key);
  return ofFile != nullptr && (IsBootOrder(setting->section) || ofFile->value == message.value);
}

/// What waits as the file wants it since an earlier restore: that too is pending.
std::vector<SDK::WriteNote> NotesOnWaiting(const Plan& plan, const Configuration& present,
                                           const Server& server) {
  std::vector<SDK::WriteNote> notes;
  if (plan.request.mode == ModeBmc) return notes;
  for (const SDK::BootMessage& message : server.BootMessages()) {
    if (!message.isWaiting || !IsWanted(message, plan.request.wanted, present)) continue;
    notes.push_back({message.path, SDK::WriteNote::Fate::Pending, ""});
  }
  return notes;
}

}  // namespace

const char* NameOf(Outcome outcome) {
  return std::ranges::find(kOutcomeNames, outcome, &OutcomeName::outcome)->name;
}

std::size_t Report::Count(Outcome outcome) const {
  return static_cast<std::size_t>(std::ranges::count(rows, outcome, &ReportRow::outcome));
}

bool Report::IsAsWanted() const {
  return std::ranges::all_of(rows, [](const ReportRow& row) {
    return row.isReadOnly ||
           (row.outcome != Outcome::NotApplied && row.outcome != Outcome::Unknown);
  });
}

Report ReportOf(const Plan& plan, const Written& written, const Server& server) {
  Report report;
  try {
    report.present = ConfigurationOfTarget(plan.request.mode);
    report.silence = server.Silence();
  } catch (const ResultStatus& failure) {
    report.silence = failure;
  }
  const std::vector<SDK::WriteNote> waiting =
      report.silence ? std::vector<SDK::WriteNote>() : NotesOnWaiting(plan, report.present, server);
  Sent sent(plan, written);
  for (const SDK::WriteNote& note : waiting) sent.notes.try_emplace(note.path, &note);
  if (report.silence) {
    report.present = {};
    for (const Change& change : plan.changes) report.rows.push_back(BlindRowFor(change, sent));
  } else {
    AddRows(InMode(plan.request.wanted, plan.request.mode), sent, report);
  }
  // A refusal of no setting in particular is told by itself.
  for (const SDK::WriteNote& note : written.notes) {
    if (note.fate != SDK::WriteNote::Fate::Refused || report.silence) continue;
    const bool isOfSetting = report.present.NameOf(note.path) != note.path;
    if (isOfSetting || sent.paths.contains(note.path)) continue;
    report.rows.push_back({note.path, "", Outcome::NotApplied, "", "", note.reason});
  }
  return report;
}

std::vector<SDK::BootMessage> WaitingFromBefore(const Plan& plan, const Server& server) {
  if (plan.request.mode == ModeBmc) return {};
  std::set<std::string> sent;
  for (const RecordedWrite& write : plan.writes) sent.insert(write.path);
  std::vector<SDK::BootMessage> waiting;
  try {
    waiting = server.BootMessages();
  } catch (const ResultStatus&) {
    return {};
  }
  std::erase_if(waiting, [&](const SDK::BootMessage& message) {
    return !message.isWaiting || sent.contains(message.path) ||
           IsWanted(message, plan.request.wanted, plan.present);
  });
  return waiting;
}

}  // namespace Planning
