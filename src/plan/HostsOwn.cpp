#include "plan/HostsOwn.h"

#include <algorithm>
#include <set>
#include <string>

#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"

namespace Planning {
namespace {

/// The rules of the module, asked without a restore.
class SetRules final : public SDK::SaveRestore {
 public:
  explicit SetRules(const Configuration& wanted) {
    DefineSections(ModeBmc);
    for (const SDK::sectionData& section : sections) {
      const std::string name = SDK::Expansion::WithoutBrackets(section.name);
      for (const SDK::Data& item : section.items) {
        if (item.type == SDK::QT_COUNT || item.type == SDK::QT_CALC) told_.insert({name, item.key});
        // As the restore does: the file turns it on before any setting that follows from it.
        const Setting* setting = wanted.Find(name, item.key);
        const bool isFailOver = item.key.find("LANFailOver") != std::string::npos;
        if (isFailOver && setting != nullptr && Upper(setting->value) == "ENABLE") {
          lanFailOver = true;
        }
      }
    }
  }

  [[nodiscard]] bool IsKept(const Setting& setting) const {
    if (setting.section == "SYSTEM" || IsBiosSection(setting.section)) return false;
    return told_.contains({setting.section, setting.key}) || IsNeverSet(setting.path);
  }

 private:
  std::set<std::pair<std::string, std::string>> told_;
};

}  // namespace

Configuration HostsOwn(const Configuration& wanted, const Configuration& present) {
  const SetRules rules(wanted);
  Configuration own;
  for (const Setting& setting : present.Settings()) {
    if (rules.IsKept(setting)) own.Add(setting);
  }
  return own;
}

void SetApart(const Configuration& own, Comparison& comparison) {
  const auto isOwn = [&](const Setting* setting) {
    return own.Find(setting->section, setting->key) != nullptr;
  };
  std::erase_if(comparison.different, [&](const Comparison::Difference& difference) {
    if (!isOwn(difference.right)) return false;
    comparison.own.push_back(difference);
    return true;
  });
  std::erase_if(comparison.onlyRightKeys, isOwn);
}

}  // namespace Planning
