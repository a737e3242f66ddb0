#pragma once

#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/Mounts.h"
#include "plan/RecordingProvider.h"
#include "plan/Request.h"

namespace Planning {

/// What a restore of a file would do to a machine, found out by running that very restore over a
/// provider that keeps the writes to itself.
struct Rehearsal {
  std::vector<RecordedWrite> writes;
  std::vector<std::string> missingKeys;  ///< keys that the restore needs, "SECTION::KEY"
  std::vector<std::string> skipped;      ///< what the restore says about items it passes over
  std::vector<ResultStatus> failures;    ///< that would end it; at most one
  std::string refused;                   ///< the key whose value it is about, if any
};

/// Adds a line unless it is the last one already: a restore says the same of each setting of a
/// menu.
void AddOnce(std::vector<std::string>& lines, const std::string& line);

/// A sentence with `detail` in brackets in the place of its full stop.
[[nodiscard]] std::string WithDetail(std::string sentence, const std::string& detail);

/// Rehearses the restore over `target`, which is mounted again afterwards. The comparison of
/// [SYSTEM] is left out: `SystemMismatches` does that in full.
[[nodiscard]] Rehearsal Rehearse(const Request& request, const Mounts& target);

/// One way in which the [SYSTEM] section of a file does not fit the mounted target.
struct SystemMismatch {
  int error;  ///< 1042 to 1045; 0: a restore goes on all the same
  std::string text;
};

/// All of them.
[[nodiscard]] std::vector<SystemMismatch> SystemMismatches(const std::string& file);

}  // namespace Planning
