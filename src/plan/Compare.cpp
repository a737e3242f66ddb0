#include "plan/Compare.h"

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

}  // namespace Planning
