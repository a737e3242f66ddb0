#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace SDK::BootOrder {

/// Works out a boot order: `live` are the names of the devices in their present order, position 1
/// first; `wanted` is the file's list, device name to decimal position. Devices that `wanted` does
/// not name fill the free positions in their present order; devices of one name are
/// interchangeable. Names and positions are compared without surrounding blanks and line ends; of
/// names that differ in these only, each takes its own device first.
/// `entry` becomes the name that is being placed, so that a caller can say which one was refused.
/// \return the names in the new order, or nothing when it is the present one.
/// \throws ResultStatus  1134 for an empty position; 1263 when an entry names no live device, when
///         its position is not a number from 1 to the number of devices, or when two different
///         devices claim one position.
[[nodiscard]] std::optional<std::vector<std::string>> Rearranged(
    const std::vector<std::string>& live, const std::map<std::string, std::string>& wanted,
    std::string& entry);

}  // namespace SDK::BootOrder
