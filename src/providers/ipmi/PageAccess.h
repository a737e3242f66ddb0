#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "providers/ipmi/Bmc.h"
#include "providers/ipmi/FieldTable.h"

/// How the pages of the field table travel: what their requests and answers look like.
namespace Ipmi {

/// Bit of byte 1 in the page of the fixed IPv6 address.
inline constexpr std::uint8_t kFixedAddressInUse = 0x80;

/// The data of a page, or nothing when the BMC does not have it, or answers less than a page (with
/// a warning); a text is as long as it reaches. A page of the fixed IPv6 address is that of the
/// first dynamic one while the fixed one is not in use.
/// \throws ResultStatus  as `Bmc::Ask`.
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

/// Sets the password of a user, of 20 bytes at most, in the form that the BMC takes.
WriteOutcome WritePassword(Bmc& bmc, std::uint8_t user, const std::string& password);

/// A channel's access as it is in force until the BMC restarts; its page is what is stored.
[[nodiscard]] std::optional<Bytes> ReadAccessInForce(Bmc& bmc, const Place& place);
WriteOutcome WriteAccessInForce(Bmc& bmc, const Place& place, const Bytes& data);

/// Forgets the answers that a write of the page touches.
void ForgetPage(Bmc& bmc, Page page, const Place& place);

}  // namespace Ipmi
