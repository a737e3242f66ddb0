#pragma once

#include <chrono>

#include "providers/ipmi/Bmc.h"

namespace Ipmi {

/// Restarts the server of a BMC and waits until it is on again: its operating system is asked to
/// end, and the power comes back once it has. Only where `mayForce`, one that has not ended after a
/// third of `limit`, or cannot be asked, is reset.
/// \throws ResultStatus  WriteFailed when the BMC refuses it, or the server is not on after
/// `limit`;
///                       Unreachable.
void RestartServer(Bmc& bmc, bool mayForce, std::chrono::seconds limit);

}  // namespace Ipmi
