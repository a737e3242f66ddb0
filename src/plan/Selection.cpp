#include "plan/Selection.h"

#include <fnmatch.h>

#include <algorithm>

#include "plan/Failure.h"

namespace Planning {
namespace {

bool Matches(const std::vector<std::string>& patterns, const std::string& section,
             const std::string& name) {
  return std::ranges::any_of(patterns, [&](const std::string& pattern) {
    return fnmatch(pattern.c_str(), name.c_str(), 0) == 0 ||
           fnmatch(pattern.c_str(), section.c_str(), 0) == 0;
  });
}

}  // namespace

bool Selection::Covers(const std::string& section, const std::string& key) const {
  const std::string name = section + "::" + key;
  const bool isWanted = only.empty() || section == "SYSTEM" || Matches(only, section, name);
  return isWanted && !Matches(except, section, name);
}

Configuration Selection::Of(const Configuration& whole) const {
  if (IsAll()) return whole;
  Configuration part;
  for (const Setting& setting : whole.Settings()) {
    if (!Covers(setting.section, setting.key)) continue;
    part.AddSection(setting.section);
    part.Add(setting);
  }
  return part;
}

void Selection::ThrowIfIdle(const Configuration& whole) const {
  for (const std::string& pattern : only) {
    const bool isBusy = std::ranges::any_of(whole.Settings(), [&](const Setting& setting) {
      return Matches({pattern}, setting.section, setting.Name());
    });
    if (isBusy) continue;
    throw Failure(Failure::Kind::Usage,
                  "\"" + pattern +
                      "\" fits no setting; patterns are of SECTION::KEY, for example "
                      "\"POWER::*\" or \"BIOS::Main*\"");
  }
}

}  // namespace Planning
