#include "plan/Compare.h"

#include <algorithm>

namespace Planning {
namespace {

void CollectOneSided(const Configuration& from, const Configuration& other,
                     std::vector<std::string>& sections, std::vector<const Setting*>& keys) {
  for (const std::string& section : from.Sections()) {
    if (!other.HasSection(section)) sections.push_back(section);
  }
  for (const Setting& setting : from.Settings()) {
    if (other.HasSection(setting.section) && other.Find(setting.section, setting.key) == nullptr) {
      keys.push_back(&setting);
    }
  }
}

}  // namespace

Configuration InMode(const Configuration& whole, Mode mode) {
  Configuration part;
  const auto covered = [&](const std::string& section) {
    if (section == "SYSTEM") return true;
    return IsBiosSection(section) ? mode != ModeBmc : mode != ModeBios;
  };
  for (const std::string& section : whole.Sections()) {
    if (covered(section)) part.AddSection(section);
  }
  for (const Setting& setting : whole.Settings()) {
    if (covered(setting.section)) part.Add(setting);
  }
  return part;
}

Comparison Compare(const Configuration& left, const Configuration& right) {
  Comparison comparison;
  for (const Setting& setting : left.Settings()) {
    const Setting* other = right.Find(setting.section, setting.key);
    if (other != nullptr && !SameValue(setting, *other)) {
      comparison.different.push_back({&setting, other});
    }
  }
  CollectOneSided(left, right, comparison.onlyLeftSections, comparison.onlyLeftKeys);
  CollectOneSided(right, left, comparison.onlyRightSections, comparison.onlyRightKeys);
  return comparison;
}

Configuration CommonTo(const std::vector<Configuration>& files) {
  const Configuration& first = files.front();
  const auto isShared = [&](const Setting& setting) {
    return std::ranges::all_of(files, [&](const Configuration& file) {
      const Setting* other = file.Find(setting.section, setting.key);
      return other != nullptr && SameValue(setting, *other) && SameValue(*other, setting);
    });
  };
  const bool isOneSystem = std::ranges::all_of(files, [&](const Configuration& file) {
    return std::ranges::all_of(file.Of("SYSTEM"),
                               [&](const Setting* setting) { return isShared(*setting); });
  });
  Configuration common;
  for (const Setting& setting : first.Settings()) {
    if (!isShared(setting) || (setting.section == "SYSTEM" && !isOneSystem)) continue;
    common.AddSection(setting.section);
    common.Add(setting);
  }
  return common;
}

}  // namespace Planning
