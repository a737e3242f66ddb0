#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/DeliveringProvider.h"
#include "plan/Plan.h"
#include "plan/Server.h"

namespace Planning {

/// Bytes of the longest BIOS administrator password.
inline constexpr std::size_t kLongestAdminPassword = sizeof SDK::SavenRestoreOptions::password - 1;

/// What the writes of a plan have come to.
struct Written {
  std::vector<std::string> skipped;     ///< what the restore says of items that it passes over
  std::vector<SDK::WriteNote> notes;    ///< what the server says of single writes
  Deliveries deliveries;                ///< how far each write has come
  std::optional<ResultStatus> failure;  ///< that has ended the restore
};

/// Carries a plan out. A failure is kept: what was written before it is to be reported. Settings
/// that the server refuses end the module's restore, but not a person's: where the BMC has refused
/// some, the BIOS part still follows. What cannot be written is left out. The caller wipes the
/// password.
[[nodiscard]] Written Write(const Plan& plan, const std::string& password, const Server& server);

}  // namespace Planning
