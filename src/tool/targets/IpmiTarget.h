#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "tool/targets/TargetKind.h"

namespace Tool {

/// BMCs over the network: "ipmi:[USER@]HOST[:PORT]". Each is for the tree "BMC", and a stand-in for
/// "SMBIOS". Without a source for the password it is asked for on the terminal; the null user needs
/// none.
[[nodiscard]] std::unique_ptr<TargetKind> MakeIpmiKind();

/// Opens the BMC of the machine that the tool runs on, through the kernel's `device`. It has gone
/// when it says nothing for `patience`; 0 for the usual time.
/// \throws ResultStatus  Unreachable when there is none, NotPermitted.
[[nodiscard]] std::shared_ptr<SDK::QueryProvider> OpenLocalBmc(const std::string& device,
                                                               std::chrono::seconds patience);

}  // namespace Tool
