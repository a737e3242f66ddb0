#pragma once

#include <string>

#include "providers/redfish/BmcPlan.h"

namespace Redfish {

/// Gives subscriptions other destinations. A service does not let the destination of one be
/// changed, so each new one is made, with what the old one has beside, before the old one is
/// deleted. Since a new one stands last in its collection, those behind it are made anew too. When
/// one cannot be made, those that were are deleted again.
/// \return why it is not done, a part of a sentence; empty when it is.
/// \throws ResultStatus  as `Service::Get`.
[[nodiscard]] std::string ReplaceSubscriptions(BmcTree& tree, const BmcGroup& group);

}  // namespace Redfish
