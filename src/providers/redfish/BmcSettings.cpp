#include "providers/redfish/BmcSettings.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/ErrorManager.h"
#include "providers/redfish/BmcPlan.h"
#include "providers/redfish/BmcWriter.h"
#include "query/NodeTree.h"
#include "query/WriteNotes.h"

namespace Redfish {
namespace {

constexpr std::string_view kBmcTree = "/BMC";

void ThrowIfFaulty(const BmcPlan& plan, const SDK::SettingMap& settings) {
  if (plan.Faults().empty()) return;
  const SDK::WriteNote& first = plan.Faults().front();
  ErrorManager::Raise(ErrorManager::ValueRefused, first.path, settings.at(first.path),
                      first.reason);
}

}  // namespace

bool BmcSettings::IsOwn(const std::string& path) {
  return path == kBmcTree || Query::IsBelow(path, kBmcTree);
}

void BmcSettings::Write(const SDK::SettingMap& settings, std::vector<SDK::WriteNote>& notes) {
  SDK::SettingMap batch = std::exchange(queued_, {});
  for (const auto& [path, value] : settings) batch[path] = value;
  if (batch.empty()) return;
  const BmcPlan plan(tree_, batch, passwords_);
  std::vector<SDK::WriteNote> made = plan.Faults();
  for (const Kept& kept : plan.KeptBack()) made.push_back({kept.path, kept.fate, kept.reason});
  BmcWriter writer(tree_, plan, passwords_);
  const auto hand = [&] {
    std::ranges::copy(writer.Notes(), std::back_inserter(made));
    std::ranges::copy(made, std::back_inserter(notes));
  };
  try {
    ThrowIfFaulty(plan, batch);
    writer.Write();
  } catch (...) {
    hand();
    throw;
  }
  hand();
  Query::RaiseRefusals(made, plan.Count());
}

void BmcSettings::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  for (const auto& [name, value] : settings) queued_[path + "/" + name] = value;
}

std::vector<SDK::WriteForesight> BmcSettings::Foresee(const SDK::SettingMap& settings) {
  if (settings.empty()) return {};
  const BmcPlan plan(tree_, settings, passwords_);
  ThrowIfFaulty(plan, settings);
  return plan.Foresee();
}

void BmcSettings::UsePasswords(const SDK::SettingMap& passwords) {
  Common::Wipe(passwords_);
  passwords_ = passwords;
}

}  // namespace Redfish
