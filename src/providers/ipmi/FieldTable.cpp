#include "providers/ipmi/FieldTable.h"

#include <algorithm>
#include <array>

namespace Ipmi {
namespace {

// parameters of Get LAN, SOL and PEF Configuration: IPMI 2.0, tables 23-4, 26-5, 30-6
constexpr auto kPages = std::to_array<PageRow>({
    // page, kind, commands, parameter, size, write size, selector
    {Page::DeviceId, Kind::DeviceId, {kGetDeviceId, {}}, 0, 11, 0},
    {Page::Firmware, Kind::Firmware, kSetSystemInfo, 1, 0, 0},
    {Page::PowerPolicy, Kind::PowerPolicy, kSetPowerPolicy, 0, 3, 1},
    {Page::HostName, Kind::HostName, kSetHostName, 2, 0, 63},
    {Page::PefControl, Kind::Pef, kSetPef, 1, 1, 1},
    {Page::PefFilter, Kind::Pef, kSetPef, 7, 2, 2, true},
    {Page::UserName, Kind::UserName, kSetUserName, 0, 0, 16},
    {Page::UserEnable, Kind::UserEnable, kSetUserEnable, 0, 4, 1},
    {Page::UserAccess, Kind::UserAccess, kSetUserAccess, 0, 4, 1},
    {Page::PayloadAccess, Kind::PayloadAccess, kSetPayloadAccess, 0, 4, 4},
    {Page::SolEnable, Kind::Sol, kSetSol, 1, 1, 1},
    {Page::SolAuthentication, Kind::Sol, kSetSol, 2, 1, 1},
    {Page::SolRetry, Kind::Sol, kSetSol, 4, 2, 2},
    {Page::SolBitRate, Kind::Sol, kSetSol, 5, 1, 1},
    {Page::LanCommunity, Kind::Lan, kSetLan, 16, 0, 18},
    {Page::LanDestination, Kind::Lan, kSetLan, 19, 13, 13, true},
    {Page::LanArpControl, Kind::Lan, kSetLan, 10, 1, 1},
    {Page::LanArpInterval, Kind::Lan, kSetLan, 11, 1, 1},
    {Page::LanAddressSource, Kind::Lan, kSetLan, 4, 1, 1},
    {Page::LanAddress, Kind::Lan, kSetLan, 3, 4, 4},
    {Page::LanSubnetMask, Kind::Lan, kSetLan, 6, 4, 4},
    {Page::LanGateway, Kind::Lan, kSetLan, 12, 4, 4},
    {Page::LanGatewayMac, Kind::Lan, kSetLan, 13, 6, 6},
    {Page::LanBackupGateway, Kind::Lan, kSetLan, 14, 4, 4},
    {Page::LanBackupGatewayMac, Kind::Lan, kSetLan, 15, 6, 6},
    {Page::LanIpv6Enable, Kind::Lan, kSetLan, 51, 1, 1},
    {Page::LanIpv6Static, Kind::Lan, kSetLan, 56, 19, 20, true},
    {Page::LanIpv6Dynamic, Kind::Lan, kSetLan, 59, 19, 0, true},
    {Page::LanIpv6Gateway, Kind::Lan, kSetLan, 65, 16, 16},
    {Page::ChannelAccess, Kind::ChannelAccess, kSetChannelAccess, 0, 2, 2},
});
static_assert(kPages.size() == static_cast<std::size_t>(Page::ChannelAccess) + 1);
static_assert(std::ranges::is_sorted(kPages, {}, &PageRow::page));

// A word that is written takes the first row that has it.
constexpr auto kSwitch = std::to_array<Word>({{1, "ENABLE"}, {0, "DISABLE"}});
constexpr auto kInvertedSwitch = std::to_array<Word>({{0, "ENABLE"}, {1, "DISABLE"}});
constexpr auto kUserStatus = std::to_array<Word>({{1, "ENABLE"}, {2, "DISABLE"}});
constexpr auto kPowerPolicy = std::to_array<Word>({{0, "OFF"}, {1, "RESTORE"}, {2, "ON"}});
constexpr auto kPrivilege = std::to_array<Word>({{1, "CALLBACK"},
                                                 {2, "USER"},
                                                 {3, "OPERATOR"},
                                                 {4, "ADMIN"},
                                                 {5, "OEM"},
                                                 {15, "NOACCESS"},
                                                 {0, "NOACCESS"}});
constexpr auto kLimit =
    std::to_array<Word>({{1, "CALLBACK"}, {2, "USER"}, {3, "OPERATOR"}, {4, "ADMIN"}, {5, "OEM"}});
constexpr auto kAccessMode =
    std::to_array<Word>({{0, "DISABLED"}, {1, "PREBOOT"}, {2, "ALWAYS"}, {3, "SHARED"}});
constexpr auto kAddressSource =
    std::to_array<Word>({{1, "DISABLE"}, {2, "ENABLE"}, {3, "BIOS"}, {4, "OTHER"}});
// Enabling takes both protocols: IPv6 alone would cut off who came over IPv4.
constexpr auto kIpv6Enable = std::to_array<Word>({{0, "DISABLE"}, {2, "ENABLE"}, {1, "ENABLE"}});
constexpr auto kIpv6Source = std::to_array<Word>({{0x80, "STATIC"}, {2, "DHCPV6"}, {1, "AUTO"}});
constexpr auto kBitRate =
    std::to_array<Word>({{6, "9600"}, {7, "19200"}, {8, "38400"}, {9, "57600"}, {10, "115200"}});

constexpr auto kFields = std::to_array<FieldRow>({
    // path                                            page    offset, length, mask    codec
    {"/SMBIOS/Type0/BIOSVersion", Page::Firmware, 0, 0, 0, Codec::Phrase},
    {"/BMC/INFO/PRODUCT", Page::DeviceId, 6, 5, 0, Codec::Product},
    {"/BMC/INFO/VERSION", Page::DeviceId, 2, 2, 0, Codec::Version},
    {"/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", Page::PowerPolicy, 0, 1, 0x60, Codec::Word,
     kPowerPolicy},

    {"/BMC/USER[U]/NAME", Page::UserName, 0, 16, 0, Codec::Text},
    {"/BMC/USER[U]/STATUS", Page::UserEnable, 1, 1, 0xC0, Codec::Word, kUserStatus},
    {"/BMC/USER[U]/CHANNEL[S]/PRIVILEGE", Page::UserAccess, 3, 1, 0x0F, Codec::Word, kPrivilege},
    {"/BMC/USER[U]/CHANNEL[S]/IPMI_AUTHENTICATION", Page::UserAccess, 3, 1, 0x10, Codec::Word,
     kSwitch},
    // bit 1: payload type 1, SOL
    {"/BMC/SOL/USER[U]/CHANNEL[S]/PAYLOADACCESS", Page::PayloadAccess, 0, 1, 0x02, Codec::Word,
     kSwitch},

    {"/BMC/PEF/STATUS", Page::PefControl, 0, 1, 0x01, Codec::Word, kSwitch},
    {"/BMC/PEF/FILTER[F]/STATUS", Page::PefFilter, 1, 1, 0x80, Codec::Word, kSwitch},

    {"/BMC/LAN/DHCP_HOSTNAME", Page::HostName, 0, 63, 0, Codec::Text},
    // The bits of channel access switch things off.
    {"/BMC/CHANNEL[S]/NONVOLATILE/ACCESS/PEF_ALERTING", Page::ChannelAccess, 0, 1, 0x20,
     Codec::Word, kInvertedSwitch},
    {"/BMC/CHANNEL[S]/NONVOLATILE/ACCESS/PER_MESSAGE_AUTHENTICATION", Page::ChannelAccess, 0, 1,
     0x10, Codec::Word, kInvertedSwitch},
    {"/BMC/CHANNEL[S]/NONVOLATILE/ACCESS/USER_LEVEL_AUTHENTICATION", Page::ChannelAccess, 0, 1,
     0x08, Codec::Word, kInvertedSwitch},
    {"/BMC/CHANNEL[S]/NONVOLATILE/ACCESS/ACCESS_MODE", Page::ChannelAccess, 0, 1, 0x07, Codec::Word,
     kAccessMode},
    {"/BMC/CHANNEL[S]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", Page::ChannelAccess, 1, 1, 0x0F,
     Codec::Word, kLimit},

    {"/BMC/LAN[L]/COMMUNITYSTRING", Page::LanCommunity, 0, 18, 0, Codec::Text},
    {"/BMC/LAN[L]/GRATUITOUSARP", Page::LanArpControl, 0, 1, 0x01, Codec::Word, kSwitch},
    {"/BMC/LAN[L]/ARPRESPONSE", Page::LanArpControl, 0, 1, 0x02, Codec::Word, kSwitch},
    {"/BMC/LAN[L]/ARPINTERVAL", Page::LanArpInterval, 0, 1, 0, Codec::Number},
    {"/BMC/LAN[L]/IPTYPE_STATUS", Page::LanAddressSource, 0, 1, 0x0F, Codec::Word, kAddressSource},
    {"/BMC/LAN[L]/IP", Page::LanAddress, 0, 4, 0, Codec::Ipv4},
    {"/BMC/LAN[L]/SUBNETMASK", Page::LanSubnetMask, 0, 4, 0, Codec::Ipv4},
    {"/BMC/LAN[L]/DEFAULTGATEWAYIP", Page::LanGateway, 0, 4, 0, Codec::Ipv4},
    {"/BMC/LAN[L]/DEFAULTGATEWAYMAC", Page::LanGatewayMac, 0, 6, 0, Codec::Mac},
    {"/BMC/LAN[L]/BACKUPGATEWAYIP", Page::LanBackupGateway, 0, 4, 0, Codec::Ipv4},
    {"/BMC/LAN[L]/BACKUPGATEWAYMAC", Page::LanBackupGatewayMac, 0, 6, 0, Codec::Mac},
    {"/BMC/LAN[L]/IPV6STATUS", Page::LanIpv6Enable, 0, 1, 0, Codec::Word, kIpv6Enable},
    // 80h: the fixed address is in use; else how the BMC got its first dynamic one
    {"/BMC/LAN[L]/IPV6SOURCE", Page::LanIpv6Static, 1, 1, 0x8F, Codec::Word, kIpv6Source},
    {"/BMC/LAN[L]/IPV6PREFIXLENGTH", Page::LanIpv6Static, 18, 1, 0, Codec::Number, {}, 0, 128},
    {"/BMC/LAN[L]/IPV6", Page::LanIpv6Static, 2, 16, 0, Codec::Ipv6},
    {"/BMC/LAN[L]/IPV6_GATEWAYIP", Page::LanIpv6Gateway, 0, 16, 0, Codec::Ipv6},
    {"/BMC/LAN[L]/ALERT/DESTINATION[D]/IP", Page::LanDestination, 3, 4, 0, Codec::Ipv4},
    {"/BMC/LAN[L]/ALERT/DESTINATION[D]/MAC", Page::LanDestination, 7, 6, 0, Codec::Mac},

    {"/BMC/SOL/CHANNEL[L]/ENABLEUSER", Page::SolEnable, 0, 1, 0x01, Codec::Word, kSwitch},
    {"/BMC/SOL/CHANNEL[L]/PRIVILEGE", Page::SolAuthentication, 0, 1, 0x0F, Codec::Word, kLimit},
    {"/BMC/SOL/CHANNEL[L]/RETRY/COUNT", Page::SolRetry, 0, 1, 0x07, Codec::Number, {}, 0, 7},
    {"/BMC/SOL/CHANNEL[L]/RETRY/INTERVAL", Page::SolRetry, 1, 1, 0, Codec::Number},
    {"/BMC/SOL/CHANNEL[L]/BAUDRATESERIAL", Page::SolBitRate, 0, 1, 0x0F, Codec::Word, kBitRate},

    // A maker's own settings go here, each with a page of its own commands: e-mail alerts and LAN
    // fail-over have no standard command.
});

}  // namespace

std::span<const FieldRow> FieldTable() {
  return kFields;
}

const PageRow& RowOf(Page page) {
  return kPages.at(static_cast<std::size_t>(page));
}

bool IsAddress(Page page) {
  switch (page) {
    case Page::LanAddressSource:
    case Page::LanAddress:
    case Page::LanSubnetMask:
    case Page::LanGateway:
    case Page::LanGatewayMac:
    case Page::LanIpv6Enable:
    case Page::LanIpv6Static:
    case Page::LanIpv6Gateway:
      return true;
    default:
      return false;
  }
}

Place PlaceAt(const Query::Indexes& indexes) {
  Place place;
  for (const auto& [letter, index] : indexes) {
    switch (letter) {
      case 'U':
        place.user = index;
        break;
      case 'F':
        place.selector = index;
        break;
      case 'D':
        place.selector = static_cast<std::uint8_t>(index + 1);
        break;
      default:
        place.channel = index;
    }
  }
  return place;
}

bool IsOwnAddress(const FieldRow& field) {
  return field.codec == Codec::Ipv4 || field.codec == Codec::Ipv6
             ? field.page != Page::LanDestination
             : field.page == Page::LanIpv6Static && field.codec == Codec::Number;
}

std::optional<Place> PlaceOf(const FieldRow& field, std::string_view path) {
  const std::optional<Query::Indexes> indexes = Query::IndexesIn(field.path, path);
  return indexes ? std::optional(PlaceAt(*indexes)) : std::nullopt;
}

}  // namespace Ipmi
