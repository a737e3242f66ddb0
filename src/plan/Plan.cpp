#include "plan/Plan.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/ErrorManager.h"
#include "plan/BootEntries.h"
#include "plan/ConfigurationFile.h"
#include "plan/UnknownNames.h"
#include "query/BmcRules.h"

namespace Planning {
namespace {

/// What the next boot would bring, by path.
SDK::SettingMap WaitingOn(const Server& server) {
  SDK::SettingMap waiting;
  for (SDK::BootMessage& message : server.BootMessages()) {
    if (message.isWaiting) waiting.emplace(std::move(message.path), std::move(message.value));
  }
  return waiting;
}

/// A change that the back end does not make, by a rule of its own.
void Keep(Plan& plan, SDK::WriteForesight& foreseen, Obstacle::Kind kind = Obstacle::Kind::Kept) {
  const auto change = std::ranges::find(plan.changes, foreseen.path, &Change::path);
  if (change == plan.changes.end()) return;
  plan.obstacles.push_back({std::move(*change), std::move(foreseen.text), kind});
  plan.changes.erase(change);
}

/// What cannot be written as a finding of the file, with the value that a person finds there.
Finding FindingOf(const Obstacle& obstacle, const Request& request) {
  const Change& change = obstacle.change;
  const Setting* setting = request.wanted.Find(change.section, change.key);
  const std::string& value = setting == nullptr ? change.to : setting->value;
  const bool isError = obstacle.kind == Obstacle::Kind::Impossible && !request.keepsGoing;
  return {isError ? Finding::Weight::Error : Finding::Weight::Warning, 0,
          change.Name() + ": \"" + value + "\" cannot be written: " + obstacle.reason};
}

/// True when the rehearsal has seen all of the BIOS menus, so that what it took from other keys is
/// known.
bool HasSeenTheMenus(const Rehearsal& rehearsal) {
  return std::ranges::find(rehearsal.failures, int{ErrorManager::BadBiosValue},
                           &ResultStatus::getval) == rehearsal.failures.end();
}

/// Takes out of `plan.changes` what the back ends keep as it is, of those with a value that can
/// mean that nobody knew it: such a value need not be one that the setting takes.
void LeaveAlone(Plan& plan, const Server& server) {
  SDK::SettingMap settings;
  for (const Change& change : plan.changes) settings.emplace(change.path, change.to);
  for (SDK::WriteForesight& foreseen : KeptOf(settings, server)) Keep(plan, foreseen);
}

/// Takes out of `plan.changes` what cannot be written.
void FindObstacles(Plan& plan) {
  const std::vector<Obstacle> found = ObstaclesTo(plan.changes, plan.request.wanted, plan.present);
  plan.obstacles.insert(plan.obstacles.end(), found.begin(), found.end());
  for (const Obstacle& obstacle : found) {
    std::erase_if(plan.changes,
                  [&](const Change& change) { return change.path == obstacle.change.path; });
    if (obstacle.kind != Obstacle::Kind::ReadOnly) {
      plan.findings.push_back(FindingOf(obstacle, plan.request));
    }
  }
}

/// What of a foresight keeps a change from being made; nothing where it can be.
std::optional<Obstacle::Kind> ObstacleIn(const SDK::WriteForesight& foreseen) {
  switch (foreseen.kind) {
    case SDK::WriteForesight::Kind::CannotTake:
      return Obstacle::Kind::Impossible;
    case SDK::WriteForesight::Kind::Locked:
      return Obstacle::Kind::Locked;
    case SDK::WriteForesight::Kind::NeedsRestart:
      return Obstacle::Kind::NeedsRestart;
    default:
      return std::nullopt;
  }
}

/// What the writes lead to beyond themselves. What a back end has no way to write is an obstacle.
void Foresee(Plan& plan, const Server& server) {
  // As they are sent: a change of a boot order has the device as its key. What is equal is among
  // them: settings of a file may be one on the server.
  SDK::SettingMap settings;
  for (const RecordedWrite& write : plan.writes) {
    const bool isObstacle = std::ranges::any_of(plan.obstacles, [&](const Obstacle& obstacle) {
      return obstacle.change.path == write.path;
    });
    const bool isChange =
        std::ranges::find(plan.changes, write.path, &Change::path) != plan.changes.end();
    const bool isSent = isChange || (write.path.starts_with("/BMC/") && !plan.request.isPart);
    if (isSent && !isObstacle) settings.insert_or_assign(write.path, write.value);
  }
  for (SDK::WriteForesight& foreseen : server.Foresee(settings)) {
    if (foreseen.kind == SDK::WriteForesight::Kind::Keeps) {
      Keep(plan, foreseen);
      continue;
    }
    if (foreseen.kind == SDK::WriteForesight::Kind::Absent) {
      Keep(plan, foreseen, Obstacle::Kind::Absent);
      continue;
    }
    if (foreseen.kind == SDK::WriteForesight::Kind::Unfit) {
      plan.findings.push_back({Finding::Weight::Unknown, 0, foreseen.text});
      continue;
    }
    const auto change = std::ranges::find(plan.changes, foreseen.path, &Change::path);
    const std::optional<Obstacle::Kind> kind = ObstacleIn(foreseen);
    if (kind && change == plan.changes.end()) continue;  // it is as it should be
    if (!kind) {
      plan.foresight.push_back(std::move(foreseen));
      continue;
    }
    plan.obstacles.push_back({*change, foreseen.text, *kind});
    plan.findings.push_back(FindingOf(plan.obstacles.back(), plan.request));
    plan.changes.erase(change);
  }
}

/// What keeps the file from being restored on the mounted server: every key that the restore needs
/// and the file lacks, whatever else would end it, and, unless skipped, what of [SYSTEM] does not
/// fit.
void CheckAgainstServer(const Rehearsal& rehearsal, const Server& server, Plan& plan) {
  const Request& request = plan.request;
  std::vector<Finding> findings = CheckBootEntries(request);
  for (const std::string& key : rehearsal.missingKeys) {
    findings.push_back({Finding::Weight::Error, 0, key + " is missing, and a restore needs it"});
  }
  for (const ResultStatus& failure : rehearsal.failures) {
    const std::string refused = rehearsal.refused.empty() ? "" : rehearsal.refused + "; ";
    findings.push_back(
        {Finding::Weight::Error, 0,
         WithDetail(failure.message(), refused + "error " + std::to_string(failure.getval()))});
  }
  if (!request.skipSystemCheck) {
    for (const SystemMismatch& mismatch :
         SystemMismatches(request.file, request.mode, server.Providers())) {
      const auto weight = mismatch.error == 0 ? Finding::Weight::Warning : Finding::Weight::Error;
      findings.push_back({weight, 0, mismatch.text});
      if (mismatch.isUncompared) plan.uncompared.push_back(mismatch.text);
    }
  }
  std::ranges::move(findings, std::back_inserter(plan.findings));
}

}  // namespace

std::vector<SDK::WriteForesight> KeptOf(const SDK::SettingMap& settings, const Server& server) {
  SDK::SettingMap untold;
  for (const auto& [path, value] : settings) {
    if (!path.starts_with("/BMC/")) continue;
    if (TellsNothing(value) || Query::IsIntervalOfNone(path, settings)) untold.emplace(path, value);
  }
  if (untold.empty()) return {};
  std::vector<SDK::WriteForesight> kept = server.Foresee(untold);
  std::erase_if(kept, [](const SDK::WriteForesight& foreseen) {
    return foreseen.kind != SDK::WriteForesight::Kind::Keeps;
  });
  return kept;
}

std::size_t Plan::NeedingRestart() const {
  return static_cast<std::size_t>(
      std::ranges::count(obstacles, Obstacle::Kind::NeedsRestart, &Obstacle::kind));
}

Request RequestOfFile(const std::string& path, std::optional<Mode> mode, const std::string& name) {
  Request request;
  request.files = {SourceOf(path, name)};  // before it is read: a change meanwhile must show
  const ConfigurationFile file(path);
  request.name = name.empty() ? path : name;
  request.file = path;
  request.wanted = file.Content();
  request.findings = CheckFile(file);
  request.lost = LostPositions(file);
  request.mode = mode.value_or(ModeOf(request.wanted));
  return request;
}

Plan MakePlan(const Request& request, const Server& server) {
  CheckMode(server.Providers(), request.mode);
  if (!request.present) server.Expect(request.mode);
  Rehearsal rehearsal = Rehearse(request, server.Providers());
  for (const ResultStatus& failure : rehearsal.failures) {
    if (failure.getval() == ErrorManager::BadFileName) throw ResultStatus(failure);
  }
  Plan plan;
  plan.request = request;
  plan.findings = request.findings;
  CheckAgainstServer(rehearsal, server, plan);
  server.ThrowIfSilent();  // what it has not told is no fault of the file
  plan.present = request.present ? *request.present : ConfigurationOfTarget(request.mode);
  plan.taken = std::move(rehearsal.taken);
  Request asRead = request;
  asRead.wanted = WithTakenValues(request.wanted, plan.present, plan.taken);
  if (HasSeenTheMenus(rehearsal)) {
    std::ranges::move(UnknownOnServer(asRead, plan.present, rehearsal.writes),
                      std::back_inserter(plan.findings));
  }
  plan.changes = ChangesOf(rehearsal.writes, plan.present,
                           request.mode == ModeBmc ? SDK::SettingMap() : WaitingOn(server));
  plan.writes = std::move(rehearsal.writes);
  if (!request.skipBootOrder && request.mode != ModeBmc) plan.lost = request.lost;
  plan.skipped = plan.lost;
  // Of a part, the file is ours: what it lacks says nothing to anybody.
  if (!request.isPart) std::ranges::move(rehearsal.skipped, std::back_inserter(plan.skipped));
  LeaveAlone(plan, server);
  FindObstacles(plan);
  Foresee(plan, server);
  server.ThrowIfSilent();
  return plan;
}

}  // namespace Planning
