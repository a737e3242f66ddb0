#pragma once

#include <cstddef>
#include <vector>

#include "providers/ipmi/Bmc.h"
#include "query/QueryProvider.h"

namespace Ipmi {

/// What a batch has come to.
struct WriteResult {
  std::size_t changes = 0;            ///< the settings that were to change
  std::vector<SDK::WriteNote> notes;  ///< on those that did not, in the order of the attempts
};

/// Writes those of `settings` (path to value) that differ from what the BMC has.
///
/// All of them are checked before the first byte is sent. What the BMC lacks, and each value that
/// it does not take or does not keep, becomes a note in `result` and stops no other. What can cut
/// off the session comes last: the own account and channel, the own address, and switching the own
/// account off at the very end.
/// \throws ResultStatus  ValueRefused, with nothing sent; Unreachable, when the session is lost:
/// the
///                       notes then also name what was not sent.
void WriteSettings(Bmc& bmc, const SDK::SettingMap& settings, WriteResult& result);

}  // namespace Ipmi
