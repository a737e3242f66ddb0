#pragma once

#include <optional>
#include <string>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"
#include "query/XNode.h"

namespace Ipmi {

/// The text of one setting, or nothing when the BMC does not have or not tell it. Warnings name
/// `path`.
/// \throws ResultStatus  as `Bmc::Ask`.
[[nodiscard]] std::optional<std::string> ReadField(Bmc& bmc, const FieldRow& field, Place place,
                                                   const std::string& path);

/// True when the BMC has the channel, user, filter and destination that `path`, one of `field`,
/// names.
/// \throws ResultStatus  as `Bmc::Ask`.
[[nodiscard]] bool IsThere(Bmc& bmc, const FieldRow& field, const std::string& path);

/// How much of a tree is asked for.
enum class Depth : std::uint8_t {
  Whole,
  Children,  ///< which children the node has: only as many values as that takes
};

/// The nodes at `path` and below it, and inner nodes that list their children: a collection its
/// instances. Asks for nothing else. A text that can be empty reads `kNotTold` where the BMC does
/// not tell it, but tells others beside it.
/// \throws ResultStatus  as `Bmc::Ask`.
[[nodiscard]] NodeMap ReadTree(Bmc& bmc, const std::string& path, Depth depth = Depth::Whole);

}  // namespace Ipmi
