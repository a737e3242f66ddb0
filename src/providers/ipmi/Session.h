#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "providers/ipmi/Message.h"

namespace Ipmi {

/// A departure from the protocol that some BMCs need, by the name FreeIPMI's users know.
struct Workaround {
  std::string_view name;
  unsigned flag;
};
[[nodiscard]] std::span<const Workaround> Workarounds();

/// The longest password of IPMI 2.0, in bytes.
inline constexpr std::size_t kLongestPassword = 20;

/// How to reach a BMC over the network and log in there.
struct RemoteAddress {
  /// A name or an address, an IPv6 one in brackets; with ":PORT" for a port other than 623.
  std::string host;
  std::string user;  ///< empty for the null user
  std::string password;
  std::vector<std::string> workarounds;  ///< names of `Workarounds`
  /// A BMC that is silent for so long has gone.
  std::chrono::milliseconds patience = std::chrono::seconds(10);
  /// A datagram without an answer is sent again after that; shorter than `patience`. An answer to
  /// the first one no longer counts then, so it must be longer than a slow BMC takes.
  std::chrono::milliseconds resendAfter = std::chrono::seconds(2);
};

/// Logs in to a BMC over the network: RMCP+ with cipher suite 17, or 3 where the BMC lacks that,
/// with the privilege ADMIN. The session ends with the transport, which wipes the password.
/// \throws ResultStatus  Unreachable; NotPermitted (user, password, privilege); BadAnswer (it does
///                       not speak IPMI 2.0).
[[nodiscard]] std::unique_ptr<Transport> OpenRemote(const RemoteAddress& address);

/// The device of the kernel's IPMI driver.
inline constexpr const char* kLocalDevice = "/dev/ipmi0";

/// Opens the BMC of the machine that the program runs on.
/// \throws ResultStatus  Unreachable, with the kernel modules to load when `device` is missing;
///                       NotPermitted.
[[nodiscard]] std::unique_ptr<Transport> OpenLocal(const std::string& device = kLocalDevice);

}  // namespace Ipmi
