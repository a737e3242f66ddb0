#pragma once

#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/Mounts.h"
#include "plan/RecordingProvider.h"
#include "plan/Request.h"

namespace Planning {

/// A value that a restore takes from another key than the one that a save writes for its setting.
struct TakenValue {
  std::string path;     ///< of the setting
  std::string section;  ///< where the file has the value
  std::string key;
  std::string value;  ///< as the restore takes it
};

/// What a restore of a file would do to a machine, found out by running that very restore over a
/// provider that keeps the writes to itself.
struct Rehearsal {
  std::vector<RecordedWrite> writes;
  std::vector<std::string> missingKeys;  ///< keys that the restore needs, "SECTION::KEY"
  std::vector<std::string> skipped;      ///< what the restore says about items it passes over
  std::vector<TakenValue> taken;         ///< values from other keys
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

/// The configuration `file` with each taken value under the key that `machine` has for its setting,
/// so that the two can be compared.
[[nodiscard]] Configuration WithTakenValues(const Configuration& file, const Configuration& machine,
                                            const std::vector<TakenValue>& taken);

/// The same for a file with the settings `file`, where the machine behind `target` has BIOS
/// settings that it does not name: a restore finds them under other keys, or not at all.
[[nodiscard]] Configuration AsRead(const Configuration& file, const Configuration& machine,
                                   Mode mode, const Mounts& target);

/// One way in which the [SYSTEM] section of a file does not fit the mounted target.
struct SystemMismatch {
  int error;  ///< 1042 to 1045; 0: a restore goes on all the same
  std::string text;
  bool isUncompared = false;  ///< nobody can compare it, and the restore does not need to
};

/// All of them. A restore in mode bios does not depend on the version of a BMC that is not mounted.
[[nodiscard]] std::vector<SystemMismatch> SystemMismatches(const std::string& file, Mode mode,
                                                           const Mounts& mounts);

}  // namespace Planning
