#pragma once

#include <array>
#include <set>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "query/QueryProvider.h"

namespace Tool {

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

/// A restore, setting by setting, in the order of the file.
struct RestoreReport {
  std::vector<ReportRow> rows;

  [[nodiscard]] std::size_t Count(Outcome outcome) const;
};

/// Compares what the file wants with the machine before and after. `sent` are the query paths that
/// the restore has written, `notes` what the target says of them.
[[nodiscard]] RestoreReport Report(const Configuration& file, const Configuration& before,
                                   const Configuration& after, const std::set<std::string>& sent,
                                   const std::vector<SDK::WriteNote>& notes);

}  // namespace Tool
