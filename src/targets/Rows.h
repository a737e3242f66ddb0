#pragma once

#include <span>

#include "targets/TargetKind.h"

namespace Targets {

/// The machine that the program runs on: "local". It is for the trees "BIOS" and "SMBIOS", and for
/// "BMC" where the back end for IPMI is there and the machine has a BMC.
[[nodiscard]] std::span<const TargetRow> LocalRows();

/// Simulated servers: "machine:FILE".
[[nodiscard]] std::span<const TargetRow> MachineRows();

/// BMCs over the network, "ipmi:[USER@]HOST[:PORT]", and "ipmi:/dev/ipmi0" by the kernel's driver.
/// Each is for the tree "BMC", and a stand-in for "SMBIOS".
[[nodiscard]] std::span<const TargetRow> IpmiRows();

/// Redfish services: "redfish:[USER@]HOST[:PORT][/SYSTEM]". Each is for the trees "BIOS" and
/// "SMBIOS", and a stand-in for "BMC". Without a user nobody logs in.
[[nodiscard]] std::span<const TargetRow> RedfishRows();

}  // namespace Targets
