// The catalogue: every section and key of the file but the BIOS ones, in the order of the file.
#include "modules/save/SectionCatalogue.h"

#include <algorithm>
#include <array>

#include "common/Platform.h"
#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"

namespace SDK {
namespace {

using namespace Forms;  // NOLINT(google-build-using-namespace): the rows read as a table

constexpr auto kSystem = std::to_array<CatalogueRow>({
    {"BIOSVersion", "/SMBIOS/Type0/BIOSVersion", kNotEdited, QT_GET},
    {"FWBootVersion", "/BMC/INFO/BOOT_AREA_VERSION", kNotEdited, QT_GET,
     Presence::BootAreaPlatform},
    {"FWOpcodeVersion", "/BMC/INFO/OP_AREA_VERSION", kNotEdited, QT_GET, Presence::OskentPlatform},
    {"FWOpcodeVersion", "/BMC/INFO/VERSION", kNotEdited, QT_GET, Presence::NotOskentPlatform},
    {"PIAVersion", "/BMC/INFO/PIA_AREA_VERSION", kNotEdited, QT_GET, Presence::OskentPlatform},
});

constexpr auto kPower = std::to_array<CatalogueRow>({
    {"PowerRestorePolicy", "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", kPowerPolicy, QT_GET},
});

constexpr auto kUsers = std::to_array<CatalogueRow>({
    {"NumberOfUsers", "/BMC/USER", kNotEdited, QT_COUNT},
});

// "PrivilegeChl_" is as files in the field have it.
constexpr auto kUser = std::to_array<CatalogueRow>({
    {"", "/BMC/USER", kNone, QT_LIST},
    {"UserName", "/BMC/USER[]/NAME", kUserName, QT_INSTANCE},
    {"GlobalUserStatus", "/BMC/USER[]/STATUS", kEnableOrDisable, QT_INSTANCE},
    {"Ch", "/BMC/USER[]/CHANNEL", kNone, QT_SUBLIST},
    {"PrivilegeChl_", "/BMC/USER[]/CHANNEL[]/PRIVILEGE", kPrivilege, QT_SUBINSTANCE},
    {"UserAccessCh_", "/BMC/USER[]/CHANNEL[]/IPMI_AUTHENTICATION", kEnableOrDisable,
     QT_SUBINSTANCE},
    {"SOLEnableCh_", "/BMC/SOL/USER[]/CHANNEL[]/PAYLOADACCESS", kEnableOrDisable, QT_SUBINSTANCE},
});

constexpr auto kPef = std::to_array<CatalogueRow>({
    {"PEFEnable", "/BMC/PEF/STATUS", kEnableDisable, QT_GET},
});

constexpr auto kPefFilters = std::to_array<CatalogueRow>({
    {"", "/BMC/PEF/FILTER", kNone, QT_LIST},
    {"Filter_", "/BMC/PEF/FILTER[]/STATUS", kEnableDisable, QT_INSTANCE},
});

constexpr auto kLanChannels = std::to_array<CatalogueRow>({
    {"NumberOfLANChannels", "/BMC/LAN", kNotEdited, QT_COUNT},
    {"DHCPHostName", "/BMC/LAN/DHCP_HOSTNAME", kHostName, QT_GET},
    {"LANFailOver", "/BMC/LAN/FAILOVERMODE", kEnableOrDisable, QT_GET, Presence::NotOskentOrVexham},
});

constexpr auto kLanChannel = std::to_array<CatalogueRow>({
    {"", "/BMC/LAN", kNone, QT_LIST},
    {"AlertEnable", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PEF_ALERTING", kEnableDisable, QT_INSTANCE},
    {"PerMessageAuthentication", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PER_MESSAGE_AUTHENTICATION",
     kEnableDisable, QT_INSTANCE},
    {"UserLevelAuthentication", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/USER_LEVEL_AUTHENTICATION",
     kEnableDisable, QT_INSTANCE},
    {"AccessMode", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/ACCESS_MODE", kAccessMode, QT_INSTANCE},
    {"PrivilegeLevelLimit", "/BMC/CHANNEL[]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", kPrivilegeLimit,
     QT_INSTANCE},
    {"CommunityString", "/BMC/LAN[]/COMMUNITYSTRING", kCommunityString, QT_INSTANCE},
    {"ARPEnable", "/BMC/LAN[]/GRATUITOUSARP", kEnableDisable, QT_INSTANCE},
    {"ARPResponse", "/BMC/LAN[]/ARPRESPONSE", kEnableDisable, QT_INSTANCE},
    {"ARPInterval", "/BMC/LAN[]/ARPINTERVAL", kArpInterval, QT_INSTANCE},
    {"DHCPEnable", "/BMC/LAN[]/IPTYPE_STATUS", kDhcp, QT_INSTANCE},
    {"HostIP", "/BMC/LAN[]/IP", kNotEdited, QT_INSTANCE},
    {"SubnetMask", "/BMC/LAN[]/SUBNETMASK", kNotEdited, QT_INSTANCE},
    {"GatewayIP", "/BMC/LAN[]/DEFAULTGATEWAYIP", kNotEdited, QT_INSTANCE},
    {"GatewayMAC", "/BMC/LAN[]/DEFAULTGATEWAYMAC", kNotEdited, QT_INSTANCE},
    {"BackupGatewayIP", "/BMC/LAN[]/BACKUPGATEWAYIP", kNotEdited, QT_INSTANCE},
    {"BackupGatewayMAC", "/BMC/LAN[]/BACKUPGATEWAYMAC", kNotEdited, QT_INSTANCE},
    {"IPV6Status", "/BMC/LAN[]/IPV6STATUS", kEnableOrDisable, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"IPV6Source", "/BMC/LAN[]/IPV6SOURCE", kIpv6Source, QT_INSTANCE, Presence::NotOskentOrVexham},
    {"IPV6PrefixLength", "/BMC/LAN[]/IPV6PREFIXLENGTH", kNotEdited, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"IPV6", "/BMC/LAN[]/IPV6", kNotEdited, QT_INSTANCE, Presence::NotOskentOrVexham},
    {"IPV6GatewayIP", "/BMC/LAN[]/IPV6_GATEWAYIP", kNotEdited, QT_INSTANCE,
     Presence::NotOskentOrVexham},
    {"2", "/BMC/LAN[]/ALERT/DESTINATION", kNone, QT_SUBLIST},
    {"AlertIP_", "/BMC/LAN[]/ALERT/DESTINATION[]/IP", kIpv4Address, QT_SUBINSTANCE},
    {"AlertMAC_", "/BMC/LAN[]/ALERT/DESTINATION[]/MAC", kHardwareAddress, QT_SUBINSTANCE},
});

constexpr auto kSol = std::to_array<CatalogueRow>({
    {"", "/BMC/SOL/CHANNEL", kNone, QT_LIST},
    {"SOLEnable", "/BMC/SOL/CHANNEL[]/ENABLEUSER", kEnableDisable, QT_INSTANCE},
    {"PrivilegeLevelLimit", "/BMC/SOL/CHANNEL[]/PRIVILEGE", kSolPrivilege, QT_INSTANCE},
    {"SolNumberOfRetries", "/BMC/SOL/CHANNEL[]/RETRY/COUNT", kSolRetries, QT_INSTANCE},
    {"SolRetryInterval", "/BMC/SOL/CHANNEL[]/RETRY/INTERVAL", kSolInterval, QT_INSTANCE},
    {"SolBaudRate", "/BMC/SOL/CHANNEL[]/BAUDRATESERIAL", kSolBaudRate, QT_INSTANCE,
     Presence::OskentOrVexham},
});

constexpr auto kMail = std::to_array<CatalogueRow>({
    {"NumberOfEmailConfig", "/BMC/LAN[]/ALERT/DESTINATION[1]/SMTP_CONFIG_SUPPORTED", kNotEdited,
     QT_CALC},
});

// Sender and server settings live with alert destination 0, receiver and text with destination 1.
constexpr auto kMailChannel = std::to_array<CatalogueRow>({
    {"", "/BMC/LAN", kNone, QT_LIST},
    {"SenderName", "/BMC/LAN[]/ALERT/DESTINATION[0]/SENDER_MACHINE_NAME", kText32, QT_INSTANCE},
    {"FromAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/FROM_EMAIL_ADDRESS", kText32, QT_INSTANCE},
    {"ToAddress", "/BMC/LAN[]/ALERT/DESTINATION[1]/TO_EMAIL_ADDRESS", kText64, QT_INSTANCE},
    {"Subject", "/BMC/LAN[]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", kText32, QT_INSTANCE},
    {"SMTPUserName", "/BMC/LAN[]/ALERT/DESTINATION[0]/SMTP_USERNAME", kText16, QT_INSTANCE},
    {"Message", "/BMC/LAN[]/ALERT/DESTINATION[1]/EMAIL_CONTENT", kText64, QT_INSTANCE},
    {"ServerAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/MAIL_SERVER_IP", kIpv4Address, QT_INSTANCE,
     Presence::PlainMail},
    {"ServerAddress", "/BMC/LAN[]/ALERT/DESTINATION[0]/MAIL_SERVER_IP", kIpAddress, QT_INSTANCE,
     Presence::ExtendedMail},
    {"PortNumber", "/BMC/LAN[]/ALERT/DESTINATION[0]/PORT_NUMBER", kSmtpPort, QT_INSTANCE,
     Presence::ExtendedMail},
    {"AuthenticationEncryptMethod", "/BMC/LAN[]/ALERT/DESTINATION[0]/AUTH_ENCRYPT_METHOD",
     kMailEncryption, QT_INSTANCE, Presence::ExtendedMail},
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
    section.items.emplace_back(row.key, row.query, row.form.comment, row.type);
  }
  return section;
}

}  // namespace

std::span<const CatalogueSection> CatalogueTable() {
  return kTable;
}

const ValueForm* FormOf(const std::string& section, const std::string& key,
                        const std::string& comment) {
  const ValueForm* form = nullptr;  // the last of several: it is the widest
  for (const CatalogueSection& known : CatalogueTable()) {
    if (!Expansion::IsInstanceOf("[" + section + "]", known.name)) continue;
    for (const CatalogueRow& row : known.rows) {
      const bool isKey = *row.key != '\0' && row.type != QT_SUBLIST;
      if (!isKey || !Expansion::IsInstanceOf(key, row.key)) continue;
      form = &row.form;
      if (comment == row.form.comment) return form;
    }
  }
  return form;
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
