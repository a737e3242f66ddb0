#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "providers/ipmi/Message.h"
#include "query/PatternTree.h"

/// Which query path is which bits of which IPMI command. Reading and writing walk these tables, so
/// a setting is one row of them.
namespace Ipmi {

/// The two commands that read and write one thing.
struct CommandPair {
  Command get;
  Command set;
};

// IPMI 2.0, appendix G: command assignments.
inline constexpr Command kGetDeviceId{0x06, 0x01};
inline constexpr Command kGetSessionInfo{0x06, 0x3D};
inline constexpr Command kGetChannelInfo{0x06, 0x42};
inline constexpr CommandPair kSetUserName{{0x06, 0x46}, {0x06, 0x45}};
inline constexpr CommandPair kSetUserAccess{{0x06, 0x44}, {0x06, 0x43}};
inline constexpr CommandPair kSetUserEnable{{0x06, 0x44}, {0x06, 0x47}};  // Set User Password
inline constexpr CommandPair kSetPayloadAccess{{0x06, 0x4D}, {0x06, 0x4C}};
inline constexpr CommandPair kSetChannelAccess{{0x06, 0x41}, {0x06, 0x40}};
inline constexpr CommandPair kSetSystemInfo{{0x06, 0x59}, {0x06, 0x58}};
inline constexpr CommandPair kSetLan{{0x0C, 0x02}, {0x0C, 0x01}};
inline constexpr CommandPair kSetSol{{0x0C, 0x22}, {0x0C, 0x21}};
inline constexpr CommandPair kSetPef{{0x04, 0x13}, {0x04, 0x12}};
inline constexpr CommandPair kSetPowerPolicy{{0x00, 0x01}, {0x00, 0x06}};  // Get Chassis Status
// DCMI 1.5: management controller identifier string.
inline constexpr CommandPair kSetHostName{{0x2C, 0x09}, {0x2C, 0x0A}};

/// What requests and data of a page look like.
enum class Kind : std::uint8_t {
  DeviceId,
  PowerPolicy,
  UserName,
  UserAccess,
  UserEnable,
  PayloadAccess,
  ChannelAccess,
  Pef,
  Sol,
  Lan,
  Firmware,  ///< a text in blocks: System Info, parameter 1
  HostName,  ///< a text in blocks: DCMI, or System Info parameter 2
};

/// One answer of the BMC, which carries one or more settings. In the order they are written in.
enum class Page : std::uint8_t {
  DeviceId,
  Firmware,
  PowerPolicy,
  HostName,
  PefControl,
  PefFilter,
  UserName,
  UserEnable,
  UserAccess,
  PayloadAccess,
  SolEnable,
  SolAuthentication,
  SolRetry,
  SolBitRate,
  LanCommunity,
  LanDestination,
  LanArpControl,
  LanArpInterval,
  LanAddressSource,
  LanAddress,
  LanSubnetMask,
  LanGateway,
  LanGatewayMac,
  LanBackupGateway,
  LanBackupGatewayMac,
  LanIpv6Enable,
  LanIpv6Static,
  LanIpv6Dynamic,
  LanIpv6Gateway,
  ChannelAccess,
};

/// Sizes in bytes, without the parameter revision that some answers begin with.
struct PageRow {
  Page page;
  Kind kind;
  CommandPair commands;
  std::uint8_t parameter;  ///< of the configuration commands
  std::uint8_t size;       ///< an answer must have at least that; 0 for a text
  std::uint8_t writeSize;  ///< what a write sends of it; 0 when it is read-only
  /// For pages that a set selector chooses from: what stands first in the data.
  bool hasSelector = false;
};

/// How bytes become text. A codec knows the text of every value it takes.
enum class Codec : std::uint8_t {
  Word,     ///< one of a table
  Number,   ///< decimal
  Ipv4,     ///< 192.0.2.1
  Ipv6,     ///< 2001:DB8::1
  Mac,      ///< 00-00-5E-00-53-01
  Text,     ///< printable ASCII without blanks, other bytes as %XX; padded with NUL
  Phrase,   ///< UTF-8, read-only
  Version,  ///< of Get Device ID
  Product,  ///< of Get Device ID
};

struct Word {
  std::uint8_t code;
  const char* text;
};

/// One setting.
struct FieldRow {
  /// The query path. An index that a letter stands for runs over what the BMC has: [L] LAN
  /// channels, [S] channels with sessions, [U] users, [F] event filters, [D] alert destinations.
  std::string_view path;
  Page page;
  std::uint8_t offset;  ///< of its first byte in the page
  std::uint8_t length;  ///< bytes
  std::uint8_t mask;    ///< its bits, where it has no whole byte
  Codec codec;
  std::span<const Word> words = {};
  std::uint8_t least = 0;  ///< of a number
  std::uint8_t most = 255;
};

/// True for the addresses by which a BMC is known. They are its own: no file gives them to another.
[[nodiscard]] bool IsOwnAddress(const FieldRow& field);

[[nodiscard]] std::span<const FieldRow> FieldTable();
[[nodiscard]] const PageRow& RowOf(Page page);

/// True for the settings by which a LAN channel is reached. Each can change others of them.
[[nodiscard]] bool IsAddress(Page page);

/// The indexes in a path: which channel, user, and filter or destination.
struct Place {
  std::uint8_t channel = 0;
  std::uint8_t user = 0;
  std::uint8_t selector = 0;  ///< the set selector on the wire
  // The check takes the comparison with 0 that is made here for one with a null pointer.
  auto operator<=>(const Place&) const = default;  // NOLINT(modernize-use-nullptr)
};

/// The place that these indexes name. A destination's set selector is one more than its index:
/// selector 0 is the destination that a BMC forgets when it restarts.
[[nodiscard]] Place PlaceAt(const Query::Indexes& indexes);

/// The place that `path` names when it is one of `field`.
[[nodiscard]] std::optional<Place> PlaceOf(const FieldRow& field, std::string_view path);

}  // namespace Ipmi
