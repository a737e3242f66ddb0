#pragma once

#include <memory>
#include <string>

#include "tool/targets/Targets.h"

namespace Tool {

/// Opens the BMC at `place`, "[USER@]HOST[:PORT]". It is for the tree "BMC", and a stand-in for
/// "SMBIOS". Without a source for the password it is asked for on the terminal; the null user needs
/// none.
/// \throws ToolError     the place or a workaround is malformed, or there is no password.
/// \throws ResultStatus  what logging in throws.
[[nodiscard]] Planning::Mounts OpenIpmi(const std::string& place, const TargetOptions& options);

/// Opens the BMC of the machine that the tool runs on, through the kernel's `device`.
/// \throws ResultStatus  Unreachable when there is none, NotPermitted.
[[nodiscard]] std::shared_ptr<SDK::QueryProvider> OpenLocalBmc(const std::string& device);

}  // namespace Tool
