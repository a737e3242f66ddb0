#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tool/Configuration.h"
#include "tool/ConfigurationFile.h"
#include "tool/Messages.h"
#include "tool/Rehearsal.h"
#include "tool/Targets.h"

namespace Tool {

/// One thing that is wrong with a file, or may be.
struct Finding {
  enum class Weight {
    Error,    ///< a restore is refused
    Warning,  ///< a restore goes on, perhaps not as wanted
  };
  Weight weight;
  std::uint32_t line;  ///< 0: of the file as a whole
  std::string text;
};

/// What a file tells by itself: lines that are none, duplicates, values that are not among the
/// options their comment lists, values longer than a restore reads, sections that no server has.
[[nodiscard]] std::vector<Finding> CheckFile(const ConfigurationFile& file);

/// What keeps a file from being restored on the mounted target: every key that the restore needs
/// and the file lacks, whatever else would end it, and, unless skipped, what of [SYSTEM] does not
/// fit.
[[nodiscard]] std::vector<Finding> CheckAgainstTarget(const RestoreChoice& choice,
                                                      const Rehearsal& rehearsal);

[[nodiscard]] bool HasErrors(const std::vector<Finding>& findings);

/// How a finding reads: "x.ini:12: error: ...".
[[nodiscard]] std::string Describe(const Finding& finding, const std::string& file);

/// What `saverestore check` is asked to do.
struct CheckRequest {
  TargetOpener openTarget;  ///< empty to look at the file alone
  RestoreChoice choice;
  std::optional<Mode> mode;
  bool json = false;
};

/// Prints what is wrong with a file. \return ExitDone, ExitDifferent for warnings, ExitBadInput for
/// errors.
int RunCheck(CheckRequest request, const Messages& messages);

/// Prints what a file is: its [SYSTEM] values, its sections and how many keys each has.
int RunShow(const std::string& file, bool json, const Messages& messages);

}  // namespace Tool
