#include "plan/Compare.h"

namespace Tool {
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

}  // namespace Tool
