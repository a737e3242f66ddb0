#pragma once

#include <vector>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"

namespace Ipmi {

/// The indexes that a letter of a field's path runs over on this BMC, in ascending order. `place`
/// holds the indexes to the left of it.
///
/// A channel has the number that IPMI gives it, also in "/BMC/LAN[n]", and a user the id; both
/// begin with 1. User 1 is the null user.
[[nodiscard]] std::vector<std::uint8_t> InstancesOf(Bmc& bmc, char letter, const Place& place);

/// The channel over which settings of a user that belong to no channel are read; 0 for none.
[[nodiscard]] std::uint8_t UserChannel(Bmc& bmc);

/// The channel that the session runs over; 0 for none.
[[nodiscard]] std::uint8_t ChannelInUse(Bmc& bmc);

}  // namespace Ipmi
