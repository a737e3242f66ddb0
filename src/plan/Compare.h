#pragma once

#include <string>
#include <vector>

#include "plan/Configuration.h"

namespace Planning {

/// How two configurations differ.
struct Comparison {
  struct Difference {
    const Setting* left;
    const Setting* right;
  };
  std::vector<Difference> different;  ///< in both, with different values
  std::vector<Difference> own;        ///< different too, in what a restore never writes: no fault
  std::vector<std::string> onlyLeftSections;
  std::vector<std::string> onlyRightSections;
  std::vector<const Setting*> onlyLeftKeys;  ///< in a section that both have
  std::vector<const Setting*> onlyRightKeys;

  [[nodiscard]] bool IsEmpty() const {
    return different.empty() && onlyLeftSections.empty() && onlyRightSections.empty() &&
           onlyLeftKeys.empty() && onlyRightKeys.empty();
  }
  /// For a left side that names a part of the settings only.
  void IgnoreWhatIsOnlyRight() {
    onlyRightSections.clear();
    onlyRightKeys.clear();
  }
};

/// The settings that a comparison in `mode` is about.
[[nodiscard]] Configuration InMode(const Configuration& whole, Mode mode);

/// Compares `left` (a file) with `right` (a machine or another file). The result points into both.
[[nodiscard]] Comparison Compare(const Configuration& left, const Configuration& right);

/// Those of the settings of all `files` that have one value in them, as a restore would take it.
/// [SYSTEM] is among them when all of it is one.
[[nodiscard]] Configuration CommonTo(const std::vector<Configuration>& files);

}  // namespace Planning
