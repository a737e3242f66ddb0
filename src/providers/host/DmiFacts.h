#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "query/XNode.h"

/// What the firmware says of the machine itself, from the kernel's copy of the SMBIOS tables.
namespace Host {

/// Adds the facts in `folder` (/sys/class/dmi/id) to `nodes`: the BIOS version as
/// "/SMBIOS/Type0/BIOSVersion", the board name as "/BIOS/PlatformID". What the firmware leaves
/// empty has no node. \throws ResultStatus  NotPermitted.
void AddDmiFacts(const std::filesystem::path& folder, NodeMap& nodes);

/// The platform name of the family whose word stands in `product`; empty when none does.
[[nodiscard]] std::string PlatformOf(std::string_view product);

/// The platform name of the machine whose facts are in `folder`.
[[nodiscard]] std::string PlatformFrom(const std::filesystem::path& folder);

}  // namespace Host
