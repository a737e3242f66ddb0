#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

/// Which query path of the BMC is which property of which resource. Reading and writing walk this
/// table, so a setting is one row of it. The properties are those of DSP0268.
namespace Redfish {

/// The resource that has the property.
enum class Holder : std::uint8_t {
  Manager,
  System,
  Account,    ///< [U]
  Interface,  ///< [C]; the first one for a path without it
  Protocol,   ///< the manager's network protocols
  Serial,     ///< the manager's first serial interface
  Events,     ///< the event service
  Trap,       ///< [D]: a subscription whose events go out as SNMP traps; else the first one
  Mail,       ///< the first subscription whose events go out as e-mail
};

/// How JSON becomes text. A codec knows the text of every value it takes.
enum class BmcCodec : std::uint8_t {
  Word,        ///< a text that is one of a table
  Switch,      ///< true or false, likewise
  Role,        ///< as Word; a role that is not in the table reads in capitals and is not written
  Text,        ///< printable ASCII without blanks, other bytes as %XX
  Phrase,      ///< a text with blanks
  Number,      ///< a whole number
  Ipv4,        ///< 192.0.2.1; 0.0.0.0 for none
  Ipv6,        ///< 2001:DB8::1 of the interface's address in use; :: for none
  Ipv6Prefix,  ///< the length of its prefix
  Ipv6Gateway,
  Ipv6Source,   ///< STATIC, DHCPV6 or AUTO, of several properties
  Membership,   ///< ENABLE when `parameter` is in a list
  Community,    ///< of the first entry of a list
  TrapAddress,  ///< the IPv4 address in "snmp://192.0.2.1"; 0.0.0.0 for no subscription
  MailAddress,  ///< the address in "mailto:somebody@example.com"
  Presence,     ///< 1 where the property is there
};

/// How a row is written.
enum class BmcAccess : std::uint8_t {
  Changed,   ///< by a change of the property
  Replaced,  ///< by a new subscription in the place of the old one
  Kept,      ///< not: the addresses by which a BMC is known are its own
  ReadOnly,
};

// What writing an account hangs on.
inline constexpr std::string_view kUserName = "/UserName";
inline constexpr std::string_view kIsEnabled = "/Enabled";
inline constexpr std::string_view kRole = "/RoleId";
/// How a switch reads that is on.
inline constexpr const char* kEnable = "ENABLE";

struct BmcWord {
  std::string_view text;
  std::string_view value;  ///< as JSON: true and false for a switch, else a text
};

struct BmcRow {
  /// The query path. An index that a letter stands for runs over what the service has: [C] the
  /// manager's interfaces, [U] accounts, [D] trap destinations.
  std::string_view path;
  Holder holder;
  std::string_view pointer;  ///< JSON pointer of the property
  BmcCodec codec;
  BmcAccess access = BmcAccess::Changed;
  std::span<const BmcWord> words = {};
  const char* parameter = "";       ///< of the codec
  std::string_view otherwise = {};  ///< JSON pointer of where it stands too
  /// What the resource's "@odata.type" begins with, for a maker's own property; empty for all.
  std::string_view type = {};
};

/// Where a path has several rows, the first one counts that the service has.
[[nodiscard]] std::span<const BmcRow> BmcTable();

/// The word of a row with this text; null when it has none.
[[nodiscard]] const BmcWord* WordFor(const BmcRow& row, std::string_view text);

/// True for the settings by which an interface is reached. Each can change others of them.
[[nodiscard]] bool IsOfAddress(const BmcRow& row);

}  // namespace Redfish
