#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/Configuration.h"
#include "plan/Plan.h"
#include "plan/Server.h"
#include "plan/Write.h"

namespace Planning {

/// What became of one setting.
enum class Outcome {
  Unchanged,
  Applied,
  Pending,
  NotApplied,
  Skipped,
  Unknown,  ///< it was sent, and the server cannot be asked what it has made of it
};
inline constexpr auto kAllOutcomes =
    std::to_array<Outcome>({Outcome::Unchanged, Outcome::Applied, Outcome::Pending,
                            Outcome::NotApplied, Outcome::Skipped, Outcome::Unknown});

[[nodiscard]] const char* NameOf(Outcome outcome);

/// The reason of a row that the machine has and the file has not.
inline constexpr const char* kNotNamed = "the file does not name it";

/// One setting of a restore.
struct ReportRow {
  std::string section;
  std::string key;
  Outcome outcome;
  std::string wanted;         ///< the file's value
  std::string present;        ///< the machine's value afterwards
  std::string reason;         ///< for NotApplied and Skipped, sometimes for Pending
  bool isReadOnly = false;    ///< nobody could have applied it: no fault of the restore
  bool needsRestart = false;  ///< the server takes it once it has restarted with the rest
};

/// What has become of a plan, setting by setting, in the order of the file.
struct Report {
  std::vector<ReportRow> rows;
  Configuration present;  ///< what the server has afterwards
  /// Set when the server could not be read afterwards: `present` is then empty, and the rows are
  /// those of the changes, with what is known of each.
  std::optional<ResultStatus> silence;

  [[nodiscard]] std::size_t Count(Outcome outcome) const;
  /// True when all that could be applied is, or waits for a boot.
  [[nodiscard]] bool IsAsWanted() const;
};

/// Reads the server again and compares it with what was wanted and what it had before. Whatever
/// happens then, what is known of the writes is in the report.
[[nodiscard]] Report ReportOf(const Plan& plan, const Written& written, const Server& server);

/// What waits from an earlier change and takes effect with this restore, whatever the file says.
/// Nothing when the server cannot be asked.
[[nodiscard]] std::vector<SDK::BootMessage> WaitingFromBefore(const Plan& plan,
                                                              const Server& server);

}  // namespace Planning
