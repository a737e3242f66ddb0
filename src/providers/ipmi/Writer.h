#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "providers/ipmi/Bmc.h"
#include "query/QueryProvider.h"

namespace Ipmi {

/// What a batch has come to.
struct WriteResult {
  std::size_t changes = 0;            ///< the settings that were to change
  std::vector<SDK::WriteNote> notes;  ///< on those that did not, in the order of the attempts
  std::set<std::string> absent;       ///< paths among them that IPMI has no setting for
};

/// Writes those of `settings` (path to value) that differ from what the BMC has.
///
/// All of them are checked before the first byte is sent. What the BMC lacks, and each value that
/// it does not take or does not keep, becomes a note in `result` and stops no other; the addresses
/// of a BMC stay its own. A text that cannot be shown is not replaced by an empty one. What the
/// session needs comes last (`Stage` in WritePlan.h).
///
/// `passwords`, by the name of the account, are set before their account is opened. An account
/// whose name or password the BMC does not take is not opened.
/// \throws ResultStatus  ValueRefused, with nothing sent; Unreachable, when the session is lost:
///                       the notes then also name what was not sent.
void WriteSettings(Bmc& bmc, const SDK::SettingMap& settings, const SDK::SettingMap& passwords,
                   WriteResult& result);

/// What that would lead to (`QueryProvider::Foresee`). \throws ResultStatus  as `WriteSettings`.
[[nodiscard]] std::vector<SDK::WriteForesight> ForeseeWrites(Bmc& bmc,
                                                             const SDK::SettingMap& settings,
                                                             const SDK::SettingMap& passwords);

}  // namespace Ipmi
