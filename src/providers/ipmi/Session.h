#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "providers/ipmi/Message.h"

namespace Ipmi {

/// A departure from the protocol that some BMCs need, by the name FreeIPMI's users know, or from
/// what is usual here.
struct Workaround {
  std::string_view name;
  unsigned flag;
};
[[nodiscard]] std::span<const Workaround> Workarounds();

/// The longest password and BMC key of IPMI 2.0, in bytes.
inline constexpr std::size_t kLongestPassword = 20;
inline constexpr std::size_t kLongestKey = 20;

/// How to reach a BMC over the network and log in there.
struct RemoteAddress {
  /// A name or an address, an IPv6 one in brackets; with ":PORT" for a port other than 623.
  std::string host;
  std::string user;  ///< empty for the null user
  std::string password;
  std::vector<std::string> workarounds;  ///< names of `Workarounds`
  std::string bmcKey;                    ///< K_g, up to 20 bytes; empty where the BMC has none
  /// One of `CipherSuites`; 0 for the first of them that the BMC takes.
  std::uint8_t cipherSuite = 0;
  /// A BMC that is silent for so long has gone.
  std::chrono::milliseconds patience = std::chrono::seconds(10);
  /// A datagram without an answer is sent again after that, at first.
  std::chrono::milliseconds resendAfter{500};
  std::function<void()> checkpoint = [] {};  ///< called while a busy BMC is waited for; may throw
};

[[nodiscard]] bool HasWorkaround(const RemoteAddress& address, std::string_view name);

/// What can be chosen, best first. All of them encrypt.
[[nodiscard]] std::span<const std::uint8_t> CipherSuites();

/// Logs in to a BMC over the network, with the privilege ADMIN. The session ends with the
/// transport, which wipes password and key.
///
/// A session that falls silent is opened again, three times in a row at most, and what was asked is
/// asked again. From the second time on datagrams get more time before they are sent again: a slow
/// BMC looks like one that loses them.
///
/// Where answers are slow it takes several requests at a time, over up to three more sessions
/// (`Transport::OpenWindow`).
/// \throws ResultStatus  Unreachable; LoginRefused (user, password, key, privilege); BadAnswer
///                       (it does not speak IPMI 2.0).
[[nodiscard]] std::unique_ptr<Transport> OpenRemote(const RemoteAddress& address);

/// The device of the kernel's IPMI driver.
inline constexpr const char* kLocalDevice = "/dev/ipmi0";

/// How to reach the BMC of the machine that the program runs on.
struct LocalAddress {
  std::string device = kLocalDevice;
  /// A BMC that says nothing for so long has gone: then every request fails at once. The driver
  /// gives answers of its own for one that is silent; they count as silence.
  std::chrono::milliseconds patience = std::chrono::seconds(10);
  std::function<void()> checkpoint = [] {};  ///< called again and again while waiting; may throw
};

/// Opens that BMC. \throws ResultStatus  Unreachable, with the kernel modules to load when the
/// device is missing; NotPermitted.
[[nodiscard]] std::unique_ptr<Transport> OpenLocal(const LocalAddress& address = {});

}  // namespace Ipmi
