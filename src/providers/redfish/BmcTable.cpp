#include "providers/redfish/BmcTable.h"

#include <algorithm>

namespace Redfish {
namespace {

// A text that is written takes the first row that has it.
constexpr auto kSwitch = std::to_array<BmcWord>({{kEnable, "true"}, {"DISABLE", "false"}});
// ComputerSystem, PowerRestorePolicyTypes
constexpr auto kPowerPolicy =
    std::to_array<BmcWord>({{"OFF", "AlwaysOff"}, {"RESTORE", "LastState"}, {"ON", "AlwaysOn"}});
// DSP0266: the predefined roles
constexpr auto kRoles = std::to_array<BmcWord>(
    {{"USER", "ReadOnly"}, {"OPERATOR", "Operator"}, {"ADMIN", "Administrator"}});
constexpr auto kAccessMode = std::to_array<BmcWord>({{"DISABLED", "false"}, {"ALWAYS", "true"}});
// SerialInterface, BitRate
constexpr auto kBitRate = std::to_array<BmcWord>({{"9600", "9600"},
                                                  {"19200", "19200"},
                                                  {"38400", "38400"},
                                                  {"57600", "57600"},
                                                  {"115200", "115200"}});
// EventService, SMTPConnectionProtocol
constexpr auto kMailSecurity = std::to_array<BmcWord>(
    {{"NONE", "None"}, {"ESMTP_STARTTLS", "StartTLS"}, {"ESMTP_SMTPS", "TLS_SSL"}});

using enum BmcAccess;

constexpr auto kRows = std::to_array<BmcRow>({
    // path, resource, property, codec, access, words, parameter, otherwise
    {"/BMC/INFO/PRODUCT", Holder::Manager, "/Model", BmcCodec::Phrase, ReadOnly},
    {"/BMC/INFO/VERSION", Holder::Manager, "/FirmwareVersion", BmcCodec::Phrase, ReadOnly},
    {"/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", Holder::System, "/PowerRestorePolicy",
     BmcCodec::Word, Changed, kPowerPolicy},

    {"/BMC/USER[U]/NAME", Holder::Account, kUserName, BmcCodec::Text},
    {"/BMC/USER[U]/STATUS", Holder::Account, kIsEnabled, BmcCodec::Switch, Changed, kSwitch},
    {"/BMC/USER[U]/CHANNEL[C]/PRIVILEGE", Holder::Account, kRole, BmcCodec::Role, Changed, kRoles},
    {"/BMC/USER[U]/CHANNEL[C]/IPMI_AUTHENTICATION",
     Holder::Account,
     "/AccountTypes",
     BmcCodec::Membership,
     Changed,
     {},
     "IPMI"},
    {"/BMC/SOL/USER[U]/CHANNEL[C]/PAYLOADACCESS",
     Holder::Account,
     "/AccountTypes",
     BmcCodec::Membership,
     Changed,
     {},
     "HostConsole"},

    {"/BMC/LAN/DHCP_HOSTNAME", Holder::Interface, "/HostName", BmcCodec::Text},
    {"/BMC/CHANNEL[C]/NONVOLATILE/ACCESS/ACCESS_MODE", Holder::Protocol, "/IPMI/ProtocolEnabled",
     BmcCodec::Switch, Changed, kAccessMode},

    {"/BMC/LAN[C]/COMMUNITYSTRING", Holder::Protocol, "/SNMP/CommunityStrings",
     BmcCodec::Community},
    {"/BMC/LAN[C]/COMMUNITYSTRING", Holder::Trap, "/SNMP/TrapCommunity", BmcCodec::Text},
    {"/BMC/LAN[C]/IPTYPE_STATUS", Holder::Interface, "/DHCPv4/DHCPEnabled", BmcCodec::Switch,
     Changed, kSwitch},
    {"/BMC/LAN[C]/IP",
     Holder::Interface,
     "/IPv4Addresses/0/Address",
     BmcCodec::Ipv4,
     Kept,
     {},
     "",
     "/IPv4StaticAddresses/0/Address"},
    {"/BMC/LAN[C]/SUBNETMASK",
     Holder::Interface,
     "/IPv4Addresses/0/SubnetMask",
     BmcCodec::Ipv4,
     Kept,
     {},
     "",
     "/IPv4StaticAddresses/0/SubnetMask"},
    {"/BMC/LAN[C]/DEFAULTGATEWAYIP",
     Holder::Interface,
     "/IPv4Addresses/0/Gateway",
     BmcCodec::Ipv4,
     Kept,
     {},
     "",
     "/IPv4StaticAddresses/0/Gateway"},
    {"/BMC/LAN[C]/IPV6STATUS", Holder::Interface, "/IPv6Enabled", BmcCodec::Switch, Changed,
     kSwitch},
    {"/BMC/LAN[C]/IPV6SOURCE",
     Holder::Interface,
     "/DHCPv6/OperatingMode",
     BmcCodec::Ipv6Source,
     Changed,
     {},
     "",
     "/StatelessAddressAutoConfig/IPv6AutoConfigEnabled"},
    {"/BMC/LAN[C]/IPV6PREFIXLENGTH",
     Holder::Interface,
     "/IPv6Addresses",
     BmcCodec::Ipv6Prefix,
     Kept,
     {},
     "",
     "/IPv6StaticAddresses"},
    {"/BMC/LAN[C]/IPV6",
     Holder::Interface,
     "/IPv6Addresses",
     BmcCodec::Ipv6,
     Kept,
     {},
     "",
     "/IPv6StaticAddresses"},
    {"/BMC/LAN[C]/IPV6_GATEWAYIP",
     Holder::Interface,
     "/IPv6DefaultGateway",
     BmcCodec::Ipv6Gateway,
     Kept,
     {},
     "",
     "/IPv6StaticDefaultGateways/0/Address"},
    {"/BMC/LAN[C]/ALERT/DESTINATION[D]/IP", Holder::Trap, "/Destination", BmcCodec::TrapAddress,
     Replaced},

    {"/BMC/SOL/CHANNEL[C]/ENABLEUSER", Holder::System, "/SerialConsole/IPMI/ServiceEnabled",
     BmcCodec::Switch, Changed, kSwitch},
    {"/BMC/SOL/CHANNEL[C]/BAUDRATESERIAL", Holder::Serial, "/BitRate", BmcCodec::Word, Changed,
     kBitRate},

    // E-mail: the module has the sender at the first destination and the recipient at the second.
    {"/BMC/LAN[C]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED", Holder::Events, "/SMTP",
     BmcCodec::Presence, ReadOnly},
    {"/BMC/LAN[C]/ALERT/DESTINATION[0]/FROM_EMAIL_ADDRESS", Holder::Events, "/SMTP/FromAddress",
     BmcCodec::Phrase},
    {"/BMC/LAN[C]/ALERT/DESTINATION[0]/SMTP_USERNAME", Holder::Events, "/SMTP/Username",
     BmcCodec::Phrase},
    {"/BMC/LAN[C]/ALERT/DESTINATION[0]/MAIL_SERVER_IP", Holder::Events, "/SMTP/ServerAddress",
     BmcCodec::Phrase},
    {"/BMC/LAN[C]/ALERT/DESTINATION[0]/PORT_NUMBER", Holder::Events, "/SMTP/Port",
     BmcCodec::Number},
    {"/BMC/LAN[C]/ALERT/DESTINATION[0]/AUTH_ENCRYPT_METHOD", Holder::Events,
     "/SMTP/ConnectionProtocol", BmcCodec::Word, Changed, kMailSecurity},
    {"/BMC/LAN[C]/ALERT/DESTINATION[1]/TO_EMAIL_ADDRESS", Holder::Mail, "/Destination",
     BmcCodec::MailAddress, Replaced},

    // A maker's own property goes here, with what the type of its resource begins with: it is found
    // where the service has that type, and is no setting of others.
});

}  // namespace

std::span<const BmcRow> BmcTable() {
  return kRows;
}

const BmcWord* WordFor(const BmcRow& row, std::string_view text) {
  const auto word = std::ranges::find(row.words, text, &BmcWord::text);
  return word == row.words.end() ? nullptr : &*word;
}

bool IsOfAddress(const BmcRow& row) {
  return row.holder == Holder::Interface && row.codec != BmcCodec::Text;
}

}  // namespace Redfish
