// The catalogue: every section and key of the file but the BIOS ones, in the order of the file.
#include "modules/save/SectionCatalogue.h"

#include <algorithm>
#include <array>

#include "common/Platform.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

constexpr const char* kNone = "";
constexpr const char* kEnableOrDisable = "\t; Options: Enable or Disable";
constexpr const char* kEnableDisable = "\t; Options: Enable, Disable";
constexpr const char* kMail32 = "\t; ASCII printable character max up to 32 bytes";
constexpr const char* kMail64 = "\t; ASCII printable character max up to 64 bytes";

constexpr auto kSystem = std::to_array<CatalogueRow>({
    {"BIOSVersion", "/SMBIOS/Type0/BIOSVersion", kNotEditedComment, QT_GET},
    {"FWBootVersion", "/BMC/INFO/BOOT_AREA_VERSION", kNotEditedComment, QT_GET,
     Presence::BootAreaPlatform},
    {"FWOpcodeVersion", "/BMC/INFO/OP_AREA_VERSION", kNotEditedComment, QT_GET,
     Presence::OskentPlatform},
    {"FWOpcodeVersion", "/BMC/INFO/VERSION", kNotEditedComment, QT_GET,
     Presence::NotOskentPlatform},
    {"PIAVersion", "/BMC/INFO/PIA_AREA_VERSION", kNotEditedComment, QT_GET,
     Presence::OskentPlatform},
});

constexpr auto kPower = std::to_array<CatalogueRow>({
    {"PowerRestorePolicy", "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY",
     "\t; Options: On, Off or Restore", QT_GET},
});

constexpr auto kUsers = std::to_array<CatalogueRow>({
    {"NumberOfUsers", "/BMC/USER", kNotEditedComment, QT_COUNT},
});

// "PrivilegeChl_" and the blank at the end of its comment are as files in the field have them.
constexpr auto kUser = std::to_array<CatalogueRow>({
    {kNone, "/BMC/USER", kNone, QT_LIST},
    {"UserName", "/BMC/USER[]/NAME",
     "\t; ASCII printable characters in the range of 0x21 to 0x7E. Max length 16 bytes",
     QT_INSTANCE},
    {"GlobalUserStatus", "/BMC/USER[]/STATUS", kEnableOrDisable, QT_INSTANCE},
    {"Ch", "/BMC/USER[]/CHANNEL", kNone, QT_SUBLIST},
    {"PrivilegeChl_", "/BMC/USER[]/CHANNEL[]/PRIVILEGE",
     "\t; Options: User, Operator, Admin, Callback, NoAccess ", QT_SUBINSTANCE},
    {"UserAccessCh_", "/BMC/USER[]/CHANNEL[]/IPMI_AUTHENTICATION", kEnableOrDisable,
     QT_SUBINSTANCE},
    {"SOLEnableCh_", "/BMC/SOL/USER[]/CHANNEL[]/PAYLOADACCESS", kEnableOrDisable, QT_SUBINSTANCE},
});

constexpr auto kPef = std::to_array<CatalogueRow>({
    {"PEFEnable", "/BMC/PEF/STATUS", kEnableDisable, QT_GET},
});

constexpr auto kPefFilters = std::to_array<CatalogueRow>({
    {kNone, "/BMC/PEF/FILTER", kNone, QT_LIST},
    {"Filter_", "/BMC/PEF/FILTER[]/STATUS", kEnableDisable, QT_INSTANCE},
});

constexpr auto kLanChannels = std::to_array<CatalogueRow>({
    {"NumberOfLANChannels", "/BMC/LAN", kNotEditedComment, QT_COUNT},
    {"DHCPHostName", "/BMC/LAN/DHCP_HOSTNAME",
     "\t; ASCII printable characters in the range of 0x21 to 0x7E. Max length 64 bytes", QT_GET},
    {"LANFailOver", "/BMC/LAN/FAILOVERMODE", kEnableOrDisable, QT_GET, Presence::NotOskentOrVexham},
});

constexpr auto kLanChannel = std::to_array<CatalogueRow>({
    {kNone, "/BMC/LAN", kNone, QT_LIST},
    {"AlertEnable", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PEF_ALERTING", kEnableDisable, QT_INSTANCE},
    {"PerMessageAuthentication", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PER_MESSAGE_AUTHENTICATION",
     kEnableDisable, QT_INSTANCE},
    {"UserLevelAuthentication", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/USER_LEVEL_AUTHENTICATION",
     kEnableDisable, QT_INSTANCE},
    {"AccessMode", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/ACCESS_MODE",
     "\t; Options: Disabled, Always, shared", QT_INSTANCE},
    {"PrivilegeLevelLimit", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT",
     "\t; Options: User, Operator, Admin", QT_INSTANCE},
    {"CommunityString", "/BMC/LAN[]/COMMUNITYSTRING", "\t; Up to 16 bytes, no space allowed",
     QT_INSTANCE},
    {"ARPEnable", "/BMC/LAN[]/GRATUITOUSARP", kEnableDisable, QT_INSTANCE},
    {"ARPResponse", "/BMC/LAN[]/ARPRESPONSE", kEnableDisable, QT_INSTANCE},
    {"ARPInterval", "/BMC/LAN[]/ARPINTERVAL",
     "\t; Decimal value between 0 & 255. This values is in milliseconds. Input value rounded down "
     "to the nearest 500ms value",
     QT_INSTANCE},
    {"DHCPEnable", "/BMC/LAN[]/IPTYPE_STATUS",
     "\t; Options: Enable or Disable. If 'Disable' static IP will be used", QT_INSTANCE},
    {"HostIP", "/BMC/LAN[]/IP", kNotEditedComment, QT_INSTANCE},
    {"SubnetMask", "/BMC/LAN[]/SUBNETMASK", kNotEditedComment, QT_INSTANCE},
    {"GatewayIP", "/BMC/LAN[]/DEFAULTGATEWAYIP", kNotEditedComment, QT_INSTANCE},
    {"GatewayMAC", "/BMC/LAN[]/DEFAULTGATEWAYMAC", kNotEditedComment, QT_INSTANCE},
    {"BackupGatewayIP", "/BMC/LAN[]/BACKUPGATEWAYIP", kNotEditedComment, QT_INSTANCE},
    {"BackupGatewayMAC", "/BMC/LAN[]/BACKUPGATEWAYMAC", kNotEditedComment, QT_INSTANCE},
    {"IPV6Status", "/BMC/LAN[]/IPV6STATUS", kEnableOrDisable, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"IPV6Source", "/BMC/LAN[]/IPV6SOURCE", "\t; Options: STATIC, DHCPV6 or AUTO", QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"IPV6PrefixLength", "/BMC/LAN[]/IPV6PREFIXLENGTH", kNotEditedComment, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"IPV6", "/BMC/LAN[]/IPV6", kNotEditedComment, QT_INSTANCE, Presence::NotOskentOrVexham},
    {"IPV6GatewayIP", "/BMC/LAN[]/IPV6_GATEWAYIP", kNotEditedComment, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"2", "/BMC/LAN[]/ALERT/DESTINATION", kNone, QT_SUBLIST},
    {"AlertIP_", "/BMC/LAN[]/ALERT/DESTINATION[]/IP", "\t; In xxx.xxx.xxx.xxx form",
     QT_SUBINSTANCE},
    {"AlertMAC_", "/BMC/LAN[]/ALERT/DESTINATION[]/MAC", "\t; In xx-xx-xx-xx-xx-xx form",
     QT_SUBINSTANCE},
});

constexpr auto kSol = std::to_array<CatalogueRow>({
    {kNone, "/BMC/SOL/CHANNEL", kNone, QT_LIST},
    {"SOLEnable", "/BMC/SOL/CHANNEL[]/ENABLEUSER", kEnableDisable, QT_INSTANCE},
    {"PrivilegeLevelLimit", "/BMC/SOL/CHANNEL[]/PRIVILEGE", "\t; Options: Admin, User, Operator",
     QT_INSTANCE},
    {"SolNumberOfRetries", "/BMC/SOL/CHANNEL[]/RETRY/COUNT", "\t; Decimal value in the range 0-7",
     QT_INSTANCE},
    {"SolRetryInterval", "/BMC/SOL/CHANNEL[]/RETRY/INTERVAL",
     "\t; Decimal value in the range of 0-2559 rounded down to the nearest unit of 10. In "
     "milliseconds",
     QT_INSTANCE},
    {"SolBaudRate", "/BMC/SOL/CHANNEL[]/BAUDRATESERIAL",
     "\t; Options: 9600, 19200, 38400, 57600, 115200. Refer respective platform FW specifications "
     "for the supported Baudrates",
     QT_INSTANCE, Presence::OskentOrVexham},
});

constexpr auto kMail = std::to_array<CatalogueRow>({
    {"NumberOfEmailConfig", "/BMC/LAN[]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED",
     kNotEditedComment, QT_CALC},
});

// Sender and server settings live with alert destination 0, receiver and text with destination 1.
constexpr auto kMailChannel = std::to_array<CatalogueRow>({
    {kNone, "/BMC/LAN", kNone, QT_LIST},
    {"SenderName", "/BMC/LAN[]/ALERT/DESTINATION[0]/SENDER_MACHINE_NAME", kMail32, QT_INSTANCE},
    {"FromAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/FROM_EMAIL_ADDRESS", kMail32, QT_INSTANCE},
    {"ToAddress", "/BMC/LAN[]/ALERT/DESTINATION[1]/TO_EMAIL_ADDRESS", kMail64, QT_INSTANCE},
    {"Subject", "/BMC/LAN[]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", kMail32, QT_INSTANCE},
    {"SMTPUserName", "/BMC/LAN[]/ALERT/DESTINATION[0]/SMTP_USERNAME",
     "\t; ASCII printable character max up to 16 bytes", QT_INSTANCE},
    {"Message", "/BMC/LAN[]/ALERT/DESTINATION[1]/EMAIL_CONTENT", kMail64, QT_INSTANCE},
    {"ServerAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/MAIL_SERVER_IP",
     "\t; In xxx.xxx.xxx.xxx form", QT_INSTANCE, Presence::PlainMail},
    {"ServerAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/MAIL_SERVER_IP",
     "\t; In xxx.xxx.xxx.xxx or xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx:xxxx form", QT_INSTANCE,
     Presence::ExtendedMail},
    {"PortNumber", "/BMC/LAN[]/ALERT/DESTINATION[0]/PORT_NUMBER",
     "\t; Valid SMTP port number in the range of 1-65535", QT_INSTANCE, Presence::ExtendedMail},
    {"AuthenticationEncryptMethod", "/BMC/LAN[]/ALERT/DESTINATION[0]/AUTH_ENCRYPT_METHOD",
     "\t; Options: NONE, ESMTP_STARTTLS, ESMTP_SMTPS", QT_INSTANCE, Presence::ExtendedMail},
});

constexpr auto kTable = std::to_array<CatalogueSection>({
    {"[SYSTEM]", 0, kSystem},
    {"[POWER]", 0, kPower},
    {"[USERS]", 0, kUsers},
    {"[USERS::USER_]", 1, kUser},
    {"[PEF]", 0, kPef},
    {"[PEF::FILTERS]", 0, kPefFilters},
    {"[LANCHANNELS]", 0, kLanChannels},
    {"[CHANNEL::LAN_]", 1, kLanChannel},
    {"[CHANNEL::LAN_::SOL]", 1, kSol},
    {"[EMAILCONFIG]", 0, kMail},
    {"[EMAILCONFIG::CHANNEL_::INFO]", 1, kMailChannel},
});

constexpr auto kBootAreaPlatforms = std::to_array<std::string_view>(
    {"CALDRA_PLATFORM", "MIRKET_PLATFORM", "BRISKEL_PLATFORM", "NARDUN_PLATFORM"});
constexpr auto kPlainMailProducts =
    std::to_array<std::string_view>({"MIRKET", "CALDRA", "BRISKEL", "NARDUN"});
constexpr std::string_view kOskentPlatform = "OSKENT_PLATFORM";

sectionData SectionFor(const CatalogueSection& table, std::string_view platform,
                       std::string_view product) {
  sectionData section{table.name, table.numbered, {}};
  for (const CatalogueRow& row : table.rows) {
    if (!IsPresent(row.presence, platform, product)) continue;
    section.items.emplace_back(row.key, row.query, row.comment, row.type);
  }
  return section;
}

}  // namespace

std::span<const CatalogueSection> CatalogueTable() {
  return kTable;
}

bool IsPlainMailProduct(std::string_view product) {
  return std::ranges::find(kPlainMailProducts, product) != kPlainMailProducts.end();
}

bool IsPresent(Presence presence, std::string_view platform, std::string_view product) {
  const bool oskentOrVexham = product == "OSKENT" || product == "VEXHAM";
  switch (presence) {
    case Presence::Always:
      return true;
    case Presence::BootAreaPlatform:
      return std::ranges::find(kBootAreaPlatforms, platform) != kBootAreaPlatforms.end();
    case Presence::OskentPlatform:
      return platform == kOskentPlatform;
    case Presence::NotOskentPlatform:
      return platform != kOskentPlatform;
    case Presence::OskentOrVexham:
      return oskentOrVexham;
    case Presence::NotOskentOrVexham:
      return !oskentOrVexham;
    case Presence::PlainMail:
      return IsPlainMailProduct(product);
    case Presence::ExtendedMail:
      return !IsPlainMailProduct(product);
  }
  return false;
}

void SaveRestore::DefineSections(int mode) {
  const std::string& platform = Platform::PlatformImpl::CreateInstance()->PlatformName();
  const bool withBmc = mode == 1 || mode == 2;
  for (const CatalogueSection& section : CatalogueTable().first(withBmc ? kTable.size() : 1)) {
    sections.push_back(SectionFor(section, platform, productName));
  }
}

}  // namespace SDK
