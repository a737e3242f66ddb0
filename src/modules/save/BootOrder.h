#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace SDK::BootOrder {

/// Works out a boot order: `live` are the names of the devices in their present order, position 1
/// first, empty for a position without a device; `wanted` is the file's list, device name to
/// decimal position.
///
/// Names and positions are compared without surrounding blanks and line ends; names that are the
/// same with them are placed first. Devices of one name are interchangeable, and the one that
/// already stands at the wanted position is taken before any other. A position without a device
/// stays where it is while it is free; the devices that `wanted` does not name fill the other free
/// positions in their present order.
///
/// `entry` becomes the name that is being placed, so that a caller can say which one was refused.
/// \return the names in the new order, or nothing when it is the present one.
/// \throws ResultStatus  1134 for an empty position; 1263 when an entry names no live device, when
///         its position is not a number from 1 to the number of devices, or when two different
///         devices claim one position.
[[nodiscard]] std::optional<std::vector<std::string>> Rearranged(
    const std::vector<std::string>& live, const std::map<std::string, std::string>& wanted,
    std::string& entry);

/// The device names, exactly as they are written, that stand at two different positions among the
/// lines of a boot-order section, each once, in the order of the file. Such a name keeps its last
/// position only, so a file cannot say where two devices of one name stand.
/// `lines` are the lines of the section: device name and position.
[[nodiscard]] std::vector<std::string> NamesAtTwoPositions(
    const std::vector<std::pair<std::string, std::string>>& lines);

}  // namespace SDK::BootOrder
