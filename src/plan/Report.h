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
enum class Outcome { Unchanged, Applied, Pending, NotApplied, Skipped };
inline constexpr auto kAllOutcomes =
    std::to_array<Outcome>({Outcome::Unchanged, Outcome::Applied, Outcome::Pending,
                            Outcome::NotApplied, Outcome::Skipped});

[[nodiscard]] const char* NameOf(Outcome outcome);

/// The reason of a row that the machine has and the file has not.
inline constexpr const char* kNotNamed = "the file does not name it";

/// One setting of a restore.
struct ReportRow {
  std::string section;
  std::string key;
  Outcome outcome;
  std::string wanted;   ///< the file's value
  std::string present;  ///< the machine's value afterwards
  std::string reason;   ///< for NotApplied and Skipped, sometimes for Pending
};

/// What has become of a plan, setting by setting, in the order of the file.
struct Report {
  std::vector<ReportRow> rows;
  Configuration present;  ///< what the server has afterwards
  /// Set when the server has fallen silent: then which settings were written is not known.
  std::optional<ResultStatus> silence;

  [[nodiscard]] std::size_t Count(Outcome outcome) const;
};

/// Reads the server again and compares it with what was wanted and what it had before.
/// \throws ResultStatus  what reading throws.
[[nodiscard]] Report ReportOf(const Plan& plan, const Written& written, const Server& server);

/// What waits from an earlier change and takes effect with this restore, whatever the file says.
/// \throws ResultStatus  what asking the server throws.
[[nodiscard]] std::vector<SDK::BootMessage> WaitingFromBefore(const Plan& plan,
                                                              const Server& server);

}  // namespace Planning
