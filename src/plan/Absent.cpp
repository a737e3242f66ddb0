#include "plan/Absent.h"

#include <map>
#include <vector>

#include "plan/Change.h"
#include "query/BmcRules.h"

namespace Planning {
namespace {

/// A section that the server lists and has nothing in, such as that of the event filters: it has
/// none of what a file has there.
bool IsEmptyOn(const std::string& section, const Configuration& present) {
  return !IsBiosSection(section) && section != "SYSTEM" && present.HasSection(section) &&
         present.Of(section).empty();
}

}  // namespace

SettingNames AbsentOf(const Configuration& wanted, const Configuration& present,
                      const Server& server) {
  SettingNames absent;
  SDK::SettingMap has;
  for (const Setting& setting : present.Settings()) has.emplace(setting.path, setting.value);
  SDK::SettingMap settings;
  std::map<std::string, const Setting*> byPath;
  for (const Setting& setting : wanted.Settings()) {
    if (IsEmptyOn(setting.section, present)) absent.insert({setting.section, setting.key});
    const Setting* now = present.Find(setting.section, setting.key);
    if (now == nullptr || !now->path.starts_with("/BMC/")) continue;
    if (!TellsNothing(now->value) && !Query::IsIntervalOfNone(now->path, has)) continue;
    if (SameValue(setting, *now)) continue;
    settings.emplace(now->path, setting.value);
    byPath.emplace(now->path, &setting);
  }
  if (settings.empty()) return absent;
  for (const SDK::WriteForesight& foreseen : server.Foresee(settings)) {
    using Kind = SDK::WriteForesight::Kind;
    if (foreseen.kind != Kind::Absent && foreseen.kind != Kind::Keeps) continue;
    const Setting& setting = *byPath.at(foreseen.path);
    absent.insert({setting.section, setting.key});
  }
  return absent;
}

void TakeOut(const SettingNames& absent, Comparison& comparison) {
  const auto isAbsent = [&](const Setting* setting) {
    return absent.contains({setting->section, setting->key});
  };
  std::erase_if(comparison.different, [&](const Comparison::Difference& difference) {
    return isAbsent(difference.left);
  });
  std::erase_if(comparison.onlyLeftKeys, isAbsent);
}

}  // namespace Planning
