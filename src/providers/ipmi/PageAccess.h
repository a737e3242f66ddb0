#pragma once

#include <optional>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"

/// How the pages of the field table travel: what their requests and answers look like.
namespace Ipmi {

/// The data of a page, or nothing when the BMC does not have it. A page of the fixed IPv6 address
/// is that of the first dynamic one while the fixed one is not in use.
/// \throws ResultStatus  as `Bmc::Ask`; BadAnswer when the answer is too short.
[[nodiscard]] std::optional<Bytes> ReadPage(Bmc& bmc, Page page, const Place& place);

/// The page as it is written back: that of the fixed IPv6 address whether in use or not.
[[nodiscard]] std::optional<Bytes> ReadOwnPage(Bmc& bmc, Page page, const Place& place);

/// What becomes of a write.
struct WriteOutcome {
  std::uint8_t completion = 0;
  Command command;
};

/// Writes a page whole. What the BMC answered before stays known until `ForgetPage`.
WriteOutcome WritePage(Bmc& bmc, Page page, const Place& place, const Bytes& data);

/// Forgets the answers that a write of the page touches.
void ForgetPage(Bmc& bmc, Page page, const Place& place);

}  // namespace Ipmi
