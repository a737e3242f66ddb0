#include "plan/Plan.h"

#include <iterator>
#include <map>
#include <utility>

#include "common/ErrorManager.h"
#include "modules/save/Expansion.h"
#include "plan/BootEntries.h"
#include "plan/ConfigurationFile.h"
#include "query/XDirector.h"

namespace Planning {
namespace {

/// The value that the server has at `path`; empty when it has none.
std::string PresentValue(const std::string& path) {
  NodeMap nodes;
  try {
    SDK::XDirectorImpl::CreateInstance()->ProcessXQuery(path, nodes);
  } catch (const ResultStatus&) {
    return {};
  }
  const auto node = nodes.find(path);
  return node == nodes.end() || node->second.values.empty() ? "" : node->second.values.front();
}

/// `present` has most of the present values; it has retry intervals and boot orders in another
/// form.
std::vector<Change> ChangesOf(const std::vector<RecordedWrite>& writes,
                              const Configuration& present) {
  std::map<std::string, const std::string*> known;
  for (const Setting& setting : present.Settings()) {
    const bool isAsSent =
        setting.key != SDK::Expansion::kRetryIntervalKey && !IsBootOrder(setting.section);
    if (isAsSent) known.try_emplace(setting.path, &setting.value);
  }
  std::vector<Change> changes;
  for (const RecordedWrite& write : writes) {
    const auto found = known.find(write.path);
    std::string from = found == known.end() ? PresentValue(write.path) : *found->second;
    if (from != write.value) changes.push_back({write.path, std::move(from), write.value});
  }
  return changes;
}

}  // namespace

Request RequestOfFile(const std::string& path, std::optional<Mode> mode) {
  const ConfigurationFile file(path);
  Request request;
  request.name = request.file = path;
  request.wanted = file.Content();
  request.findings = CheckFile(file);
  request.mode = mode.value_or(ModeOf(request.wanted));
  return request;
}

Plan MakePlan(const Request& request, const Server& server) {
  CheckMode(server.Providers(), request.mode);
  Rehearsal rehearsal = Rehearse(request, server.Providers());
  for (const ResultStatus& failure : rehearsal.failures) {
    if (failure.getval() == ErrorManager::BadFileName) throw ResultStatus(failure);
  }
  Plan plan;
  plan.request = request;
  plan.findings = request.findings;
  std::vector<Finding> more = CheckAgainstServer(request, rehearsal);
  server.ThrowIfSilent();  // what it has not told is no fault of the file
  std::move(more.begin(), more.end(), std::back_inserter(plan.findings));
  if (plan.IsRefused()) return plan;
  plan.present = ConfigurationOfTarget(request.mode);
  plan.changes = ChangesOf(rehearsal.writes, plan.present);
  plan.writes = std::move(rehearsal.writes);
  plan.skipped = std::move(rehearsal.skipped);
  server.ThrowIfSilent();
  return plan;
}

std::vector<Finding> CheckAgainstServer(const Request& request, const Rehearsal& rehearsal) {
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
  if (request.skipSystemCheck) return findings;
  for (const SystemMismatch& mismatch : SystemMismatches(request.file)) {
    findings.push_back({Finding::Weight::Error, 0, mismatch.text});
  }
  return findings;
}

}  // namespace Planning
