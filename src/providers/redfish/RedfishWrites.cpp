// The writes of a RedfishProvider: everything is checked before anything is sent, and what is sent
// goes in as few requests as the service allows.
#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/Batch.h"
#include "providers/redfish/RedfishProvider.h"
#include "query/NodeTree.h"
#include "query/PasswordRequest.h"

namespace Redfish {
namespace {

using Fate = SDK::WriteNote::Fate;
using Query::kPasswordPath;

constexpr const char* kNoPasswordCheck =
    "this server cannot check one over Redfish; restore without a password, or clear it in the "
    "setup first";

bool IsSameOrder(const std::vector<BootEntry>& one, const std::vector<BootEntry>& other) {
  return std::ranges::equal(one, other, {}, &BootEntry::reference, &BootEntry::reference);
}

std::string PresentValue(const _XNode& node) {
  return node.values.empty() ? std::string() : node.values.front();
}

/// Why a setting does not take `value` where these dependencies hold; empty when it does.
std::string ReasonAgainst(const _XNode& node, const std::string& value,
                          const std::vector<Dependent>& holding) {
  struct Lock {
    const char* property;
    const char* words;
  };
  constexpr auto kLocks = std::to_array<Lock>(
      {{"ReadOnly", "read-only"}, {"GrayOut", "greyed out"}, {"Hidden", "hidden"}});
  for (const Dependent& rule : holding) {
    for (const Lock& lock : kLocks) {
      if (rule.property == lock.property && rule.value == json(true)) {
        return std::string(lock.words) + " while " + rule.condition;
      }
    }
    _XNode limited = node;
    if (rule.value.is_number_integer() && limited.limits->form == Query::Limits::Form::Whole) {
      Query::Range range = limited.limits->range.value_or(Query::Range{});
      if (rule.property == "LowerBound") range.low = rule.value.get<std::int64_t>();
      if (rule.property == "UpperBound") range.high = rule.value.get<std::int64_t>();
      limited.limits.Edit().range = range;
    }
    const std::string objection = Query::Objection(limited, value);
    if (!objection.empty()) return objection + " while " + rule.condition;
  }
  return {};
}

}  // namespace

void RedfishProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  const auto check = settings.find(kPasswordPath);
  if (check == settings.end()) return Apply(settings);
  // The password twice, with a hyphen between.
  if (check->second != "-") ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
  SDK::SettingMap others = settings;
  others.erase(kPasswordPath);
  Apply(others);
}

void RedfishProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                      const std::string& password) {
  if (!password.empty()) ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
  Apply(settings);
}

void RedfishProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) {
    for (const auto& [name, value] : settings) {
      if (!value.empty()) ErrorManager::Raise(ErrorManager::PasswordRefused, kNoPasswordCheck);
    }
    return;
  }
  SDK::SettingMap batch;
  for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
  Apply(batch);
}

void RedfishProvider::CheckUnchanged(const std::string& path, const std::string& value) {
  const auto node = nodes_.find(path);
  if (node == nodes_.end()) {
    if (value.empty()) return;  // what a save wrote for a setting that this server lacks
    ErrorManager::Raise(ErrorManager::NoSuchNode, path);
  }
  if (PresentValue(node->second) == value) return;
  ErrorManager::Raise(ErrorManager::ReadOnlyNode, path, value);
}

std::string RedfishProvider::NextValue(const std::string& path) const {
  const auto waits = waiting_.find(path);
  return waits != waiting_.end() ? waits->second : PresentValue(nodes_.at(path));
}

void RedfishProvider::SortOut(const std::string& path, const std::string& value, Batch& batch) {
  Load(path);
  if (Query::IsBelow(path, kBootOrderPath) && nodes_.contains(path)) {
    batch.positions.emplace(path, value);
    return;
  }
  const auto found = attributes_.find(path);
  if (found == attributes_.end()) return CheckUnchanged(path, value);
  LoadNextSetup();
  const Attribute& attribute = found->second;
  const _XNode& node = nodes_.at(path);
  std::optional<json> converted = ToJson(attribute, value);
  const std::string text = converted ? ToText(*converted) : value;
  if (NextValue(path) == text) return;
  const auto note = [&](Fate fate, const std::string& reason) {
    batch.notes.push_back({path, fate, reason});
  };
  if (PresentValue(node) != text) {  // the present value is allowed, whatever the limits say
    if (node.limits->isReadOnly) return note(Fate::Skipped, "it is read-only");
    const std::string objection = Query::Objection(node, text);
    if (!objection.empty()) return note(Fate::Refused, objection);
  }
  if (!converted) return note(Fate::Refused, "it must be UTF-8");
  batch.changes.emplace(attribute.Name(), Change{path, attribute.members, std::move(*converted)});
}

/// Takes out of the batch what cannot be under the values that will hold, and what the server
/// cannot take before it has restarted with the others.
void RedfishProvider::CheckDependencies(Batch& batch) {
  if (batch.changes.empty()) return;
  const json present = At(service_.Bios().content, {"Attributes"});
  const auto now = [&](const std::string& name) { return At(present, {name.c_str()}); };
  const auto later = [&](const std::string& name) {
    const auto change = batch.changes.find(name);
    if (change != batch.changes.end()) return change->second.value;
    return now(name);
  };
  std::vector<SDK::WriteNote> notes;
  for (const auto& [name, change] : batch.changes) {
    if (now(name) == change.value) continue;  // the way back
    const std::string text = ToText(change.value);
    std::string reason =
        ReasonAgainst(nodes_.at(change.path), text, dependencies_.Holding(name, later));
    if (reason.empty()) {
      reason = ReasonAgainst(nodes_.at(change.path), text, dependencies_.Holding(name, now));
      if (!reason.empty()) reason += " now; restart the server and restore again";
    }
    if (!reason.empty()) notes.push_back({change.path, Fate::Refused, reason});
  }
  std::erase_if(batch.changes, [&](const auto& entry) {
    return std::ranges::find(notes, entry.second.path, &SDK::WriteNote::path) != notes.end();
  });
  std::ranges::move(notes, std::back_inserter(batch.notes));
}

Batch RedfishProvider::SortOut(const SDK::SettingMap& settings) {
  Batch batch;
  for (const auto& [path, value] : settings) SortOut(path, value, batch);
  CheckDependencies(batch);
  if (batch.positions.empty()) return batch;
  LoadNextOrder();
  std::vector<BootEntry> order = Reordered(nextOrder_, batch.positions);
  if (!IsSameOrder(order, nextOrder_)) batch.order = std::move(order);
  return batch;
}

std::vector<SDK::WriteForesight> RedfishProvider::Foresee(const SDK::SettingMap& settings) {
  std::vector<SDK::WriteForesight> all;
  for (SDK::WriteNote& note : SortOut(settings).notes) {
    all.push_back({note.path, SDK::WriteForesight::Kind::CannotTake, std::move(note.reason), ""});
  }
  return all;
}

/// The boot order goes first, or along: a server that makes a job of the attributes takes nothing
/// more afterwards.
void RedfishProvider::Send(Batch batch) {
  const auto keep = [this](const std::vector<SDK::WriteNote>& notes) {
    std::ranges::copy(notes, std::back_inserter(notes_));
  };
  Unload(kSetupRoot);
  Unload(kBootOrderPath);
  const bool isAlone = batch.changes.empty() || service_.SystemSettings().empty() ||
                       service_.SystemSettings() != service_.BiosSettings();
  if (!batch.order.empty() && isAlone) keep(WriteBootOrder(service_, batch.order));
  if (batch.changes.empty()) return;
  Writer writer(service_);
  if (!batch.order.empty() && !isAlone) writer.Add(batch.order);
  try {
    writer.Write(std::move(batch.changes));
  } catch (...) {
    keep(writer.Notes());
    throw;
  }
  keep(writer.Notes());
  if (writer.OrderAnswer()) keep(NotesOnBootOrder(service_, batch.order, *writer.OrderAnswer()));
}

void RedfishProvider::Apply(const SDK::SettingMap& settings) {
  Batch batch = SortOut(settings);
  const std::size_t notesBefore = notes_.size();
  std::ranges::move(batch.notes, std::back_inserter(notes_));
  if (!batch.changes.empty() || !batch.order.empty()) Send(std::move(batch));
  if (const std::string& missing = service_.MissingRegistry(); !missing.empty()) {
    notes_.push_back({kSetupRoot, Fate::Refused,
                      "the server does not give its attribute registry " + missing +
                          ", so settings are not found by their names"});
  }
  const auto isRefused = [](const SDK::WriteNote& note) { return note.fate == Fate::Refused; };
  const auto begin = notes_.begin() + static_cast<std::ptrdiff_t>(notesBefore);
  const auto first = std::find_if(begin, notes_.end(), isRefused);
  if (first == notes_.end()) return;
  ErrorManager::Raise(ErrorManager::WritesRefused,
                      std::to_string(std::count_if(begin, notes_.end(), isRefused)),
                      std::to_string(settings.size()), first->path, first->reason);
}

void RedfishProvider::ClearWaiting() {
  LoadWaiting();
  if (waiting_.empty()) return;
  for (const std::string& settings : {service_.BiosSettings(), service_.SystemSettings()}) {
    if (!settings.empty()) service_.Discard(settings);
  }
  Unload(kSetupRoot);
  Unload(kBootOrderPath);
  LoadWaiting();
  SDK::SettingMap present;
  for (const auto& [path, value] : waiting_) present.emplace(path, PresentValue(nodes_.at(path)));
  Apply(present);
}

void RedfishProvider::Restart(bool isForced, std::chrono::seconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  LoadWaiting();
  const bool hasWaiting = !waiting_.empty();
  service_.Restart(isForced);
  do {
    Unload(kSetupRoot);
    Unload(kBootOrderPath);
    service_.ForgetAll();
    try {
      const bool isUp = TextAt(service_.System().content, {"PowerState"}) == "On";
      LoadWaiting();
      if (isUp && (!hasWaiting || waiting_.empty())) return;
    } catch (const ResultStatus& failure) {
      if (!ErrorManager::SaysNothing(failure.getval())) throw;  // else it is on its way
    }
  } while (service_.Wait("", end));
  ErrorManager::Raise(ErrorManager::WriteFailed, "The restart",
                      "the server is not back with its new settings after " +
                          std::to_string(limit.count()) + " seconds");
}

}  // namespace Redfish
