// The writes of a RedfishProvider: everything is checked before anything is sent, and what is sent
// goes in as few requests as the service allows.
#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <span>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/Batch.h"
#include "providers/redfish/RedfishProvider.h"
#include "query/NodeTree.h"
#include "query/PasswordRequest.h"

namespace Redfish {
namespace {

using Fate = SDK::WriteNote::Fate;
using Foreseen = SDK::WriteForesight::Kind;
using Query::kPasswordPath;

constexpr const char* kNoPasswordCheck =
    "this server cannot check one over Redfish; restore without a password, or clear it in the "
    "setup first";

/// By this a system tells when it was restarted.
constexpr const char* kLastReset = "LastResetTime";

/// So long a restart may take to show where a server has no other sign of it than being down.
constexpr std::chrono::seconds kSignPatience{60};

std::string Seconds(std::chrono::seconds duration) {
  return std::to_string(duration.count()) + " seconds";
}

/// Ends a restart that the server refuses for that reason; nothing is none.
void ThrowIfRefused(const std::string& refusal) {
  if (!refusal.empty()) ErrorManager::Raise(ErrorManager::WriteFailed, "The restart", refusal);
}

bool IsSameOrder(const std::vector<BootEntry>& one, const std::vector<BootEntry>& other) {
  return std::ranges::equal(one, other, {}, &BootEntry::reference, &BootEntry::reference);
}

/// The settings of the BMC, and all others.
std::pair<SDK::SettingMap, SDK::SettingMap> Parted(const SDK::SettingMap& settings) {
  std::pair<SDK::SettingMap, SDK::SettingMap> parts;
  for (const auto& [path, value] : settings) {
    (BmcSettings::IsOwn(path) ? parts.first : parts.second).emplace(path, value);
  }
  return parts;
}

std::string PresentValue(const _XNode& node) {
  return node.values.empty() ? std::string() : node.values.front();
}

/// Why a setting does not take `value` while that holds; empty when it does.
std::string ReasonAgainst(const _XNode& node, const std::string& value, const Effect& effect) {
  if (!effect.lock.empty()) return effect.lock;
  _XNode limited = node;
  limited.limits = effect.limits;
  const std::string objection = Query::Objection(limited, value);
  return objection.empty() ? "" : objection + effect.because;
}

}  // namespace

void RedfishProvider::Write(const SDK::SettingMap& settings, bool isBios, bool /*reserved*/) {
  const auto [ofBmc, others] = Parted(settings);
  if (!ofBmc.empty() || !isBios) bmc_.Write(ofBmc, notes_);
  if (!others.empty()) WriteBios(others);
}

void RedfishProvider::WriteBios(const SDK::SettingMap& settings) {
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
  if (BmcSettings::IsOwn(path)) return bmc_.WriteGroup(path, settings);
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

std::string RedfishProvider::RegistryFault() const {
  const std::string& missing = service_.MissingRegistry();
  return missing.empty() ? ""
                         : "the server does not give its attribute registry " + missing +
                               ", so settings are not found by their names";
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
  const auto keep = [&](Fate fate, const std::string& reason) {
    batch.kept.push_back({path, fate, Foreseen::CannotTake, reason});
  };
  if (PresentValue(node) != text) {  // the present value is allowed, whatever the limits say
    if (node.limits->isReadOnly) return keep(Fate::Skipped, "it is read-only");
    const std::string objection = Query::Objection(node, text);
    if (!objection.empty()) return keep(Fate::Refused, objection);
  }
  if (!converted) return keep(Fate::Refused, "it must be UTF-8");
  batch.changes.emplace(attribute.Name(), Change{path, attribute.members, std::move(*converted)});
}

/// What keeps a change from being made while the others have these values.
std::optional<Kept> RedfishProvider::ObstacleTo(const std::string& name, const Change& change,
                                                const ValueOf& values) {
  const json& present = At(service_.Bios().content, {"Attributes"});
  if (AtMembers(present, change.members) == change.value) return std::nullopt;  // the way back
  const Effect effect = dependencies_.On(name, attributes_.at(change.path).limits, values);
  std::string reason = ReasonAgainst(nodes_.at(change.path), ToText(change.value), effect);
  if (reason.empty()) return std::nullopt;
  const Foreseen kind = effect.lock.empty() ? Foreseen::CannotTake : Foreseen::Locked;
  return Kept{change.path, Fate::Refused, kind, std::move(reason)};
}

/// Takes out of the batch what cannot be while the others have these values. \return how many.
std::size_t RedfishProvider::KeepBack(Batch& batch, const ValueOf& values) {
  std::vector<Kept> kept;
  for (const auto& [name, change] : batch.changes) {
    if (std::optional<Kept> obstacle = ObstacleTo(name, change, values)) {
      kept.push_back(std::move(*obstacle));
    }
  }
  std::erase_if(batch.changes, [&](const auto& entry) {
    return std::ranges::find(kept, entry.second.path, &Kept::path) != kept.end();
  });
  std::ranges::move(kept, std::back_inserter(batch.kept));
  return kept.size();
}

/// Takes out of the batch what cannot be under the values that will hold, and what the server
/// cannot take before it has restarted with the others.
void RedfishProvider::CheckDependencies(Batch& batch) {
  if (batch.changes.empty()) return;
  const std::string settings = service_.BiosSettings();
  const Resource* next = settings.empty() ? nullptr : service_.Find(settings);
  const json waiting = next == nullptr ? json() : At(next->content, {"Attributes"});
  const json present = At(service_.Bios().content, {"Attributes"});
  const ValueOf now = [&](const std::string& name) { return At(present, {name.c_str()}); };
  const ValueOf later = [&](const std::string& name) {
    const auto change = batch.changes.find(name);
    if (change != batch.changes.end()) return change->second.value;
    const json& waits = At(waiting, {name.c_str()});
    return waits.is_null() ? now(name) : waits;
  };
  const auto keepBackAll = [&] {
    while (KeepBack(batch, later) > 0) {  // what is taken out keeps its value, as others may need
    }
  };
  const Changes all = batch.changes;
  keepBackAll();
  // What was taken out because of another that is taken out too can be made after all.
  for (const auto& [name, change] : all) {
    if (batch.changes.contains(name) || ObstacleTo(name, change, later)) continue;
    const std::string& path = change.path;
    std::erase_if(batch.kept, [&](const Kept& kept) { return kept.path == path; });
    batch.changes.emplace(name, change);
  }
  keepBackAll();
  const std::size_t left = batch.kept.size();
  KeepBack(batch, now);
  for (Kept& kept : std::span(batch.kept).subspan(left)) {
    kept.kind = Foreseen::NeedsRestart;
    kept.reason += " now";
  }
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
  const auto [ofBmc, others] = Parted(settings);
  std::vector<SDK::WriteForesight> all = bmc_.Foresee(ofBmc);
  for (Kept& kept : SortOut(others).kept) {
    all.push_back({kept.path, kept.kind, std::move(kept.reason), ""});
  }
  if (const std::string fault = RegistryFault(); !fault.empty()) {
    all.push_back({kSetupRoot, Foreseen::Unfit, fault, ""});
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
  for (const Kept& kept : batch.kept) {
    const bool isLater = kept.kind == Foreseen::NeedsRestart;
    notes_.push_back({kept.path, kept.fate,
                      kept.reason + (isLater ? "; restart the server and restore again" : "")});
  }
  if (!batch.changes.empty() || !batch.order.empty()) Send(std::move(batch));
  if (const std::string fault = RegistryFault(); !fault.empty()) {
    notes_.push_back({kSetupRoot, Fate::Refused, fault});
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

void RedfishProvider::AskForRestart(bool mayForce) {
  std::string refusal = service_.Restart(Service::RestartKind::Graceful);
  if (!refusal.empty() && mayForce) refusal = service_.Restart(Service::RestartKind::Forced);
  ThrowIfRefused(refusal);
}

/// True when the server is up again. `isRestarted` becomes true with the first sign that it has
/// begun to restart at all.
bool RedfishProvider::IsBack(bool hasWaiting, const std::string& lastReset, bool& isRestarted) {
  Refresh();
  try {
    const json system = service_.System().content;
    const std::string power = TextAt(system, {"PowerState"});
    const bool isUp = power.empty() || power == "On";
    const std::string reset = TextAt(system, {kLastReset});
    if (isUp) LoadWaiting();
    isRestarted = isRestarted || !isUp || reset != lastReset || (hasWaiting && waiting_.empty());
    return isUp && waiting_.empty();
  } catch (const ResultStatus& failure) {
    if (!ErrorManager::SaysNothing(failure.getval())) throw;
    isRestarted = true;  // it is on its way
    return false;
  }
}

void RedfishProvider::Restart(bool mayForce, std::chrono::seconds limit) {
  const auto start = std::chrono::steady_clock::now();
  LoadWaiting();
  const bool hasWaiting = !waiting_.empty();
  const std::string lastReset = TextAt(service_.System().content, {kLastReset});
  AskForRestart(mayForce);
  bool isRestarted = false;
  bool isForced = !mayForce;
  do {
    const bool isBack = IsBack(hasWaiting, lastReset, isRestarted);
    const auto passed = std::chrono::steady_clock::now() - start;
    // Of a server that gives no sign but goes on being up, nobody can tell that it has restarted.
    const bool isPatient = lastReset.empty() && !hasWaiting && passed > kSignPatience;
    if (isBack && (isRestarted || isPatient)) {
      service_.ForgetAll();  // the firmware may be another one now
      return Refresh();
    }
    if (!isForced && !isRestarted && passed > limit / 3) {
      isForced = true;
      ThrowIfRefused(service_.Restart(Service::RestartKind::Forced));
    }
  } while (service_.Wait("", start + limit));
  ErrorManager::Raise(
      ErrorManager::WriteFailed, "The restart",
      isRestarted
          ? "the server is not back with its new settings after " + Seconds(limit)
          : "the operating system has not ended after " + Seconds(limit) + "; --force ends it");
}

}  // namespace Redfish
