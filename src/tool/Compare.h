#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tool/Configuration.h"
#include "tool/Messages.h"
#include "tool/Targets.h"

namespace Tool {

/// How two configurations differ.
struct Comparison {
  struct Difference {
    const Setting* left;
    const Setting* right;
  };
  std::vector<Difference> different;  ///< in both, with different values
  std::vector<std::string> onlyLeftSections;
  std::vector<std::string> onlyRightSections;
  std::vector<const Setting*> onlyLeftKeys;  ///< in a section that both have
  std::vector<const Setting*> onlyRightKeys;

  [[nodiscard]] bool IsEmpty() const {
    return different.empty() && onlyLeftSections.empty() && onlyRightSections.empty() &&
           onlyLeftKeys.empty() && onlyRightKeys.empty();
  }
};

/// Compares `left` (a file) with `right` (a machine or another file). The result points into both.
[[nodiscard]] Comparison Compare(const Configuration& left, const Configuration& right);

/// What `saverestore diff` is asked to do.
struct DiffRequest {
  TargetOpener openTarget;
  std::string file;
  std::string other;  ///< a second file; empty to compare with the target
  std::optional<Mode> mode;
  bool json = false;
};

/// Prints how a file differs from the target, or from another file.
/// \return ExitDone, or ExitDifferent when they differ.
int RunDiff(const DiffRequest& request, const Messages& messages);

}  // namespace Tool
