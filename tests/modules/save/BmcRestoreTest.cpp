// The BMC part of a restore, over files that were saved from the example machines and edited.
#include <algorithm>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kNotSent = "(not sent)";

/// The beginnings of the keys that a file may lack: of a user's channels, of alert destinations.
constexpr const char* kOptionalKeys[] = {"PrivilegeChl", "UserAccessCh", "SOLEnableCh", "AlertIP",
                                         "AlertMAC"};

class BmcRestoreTest : public RestoreTest {
 protected:
  /// What reached `path`, in a batch or in the write of a whole node.
  [[nodiscard]] std::string Sent(const std::string& path) const {
    const std::size_t slash = path.rfind('/');
    std::string sent = kNotSent;
    for (const auto& write : engine->writes) {
      const bool isGroup = write.how == "group(" + path.substr(0, slash) + ")";
      const auto setting = write.settings.find(isGroup ? path.substr(slash + 1) : path);
      if (setting != write.settings.end()) sent = setting->second;
    }
    return sent;
  }
};

struct ValueRow {
  const char* name;
  const char* section;
  const char* key;
  const char* value;
  const char* path;
  const char* sent;
  const char* machine = "caldra";
};

class BmcValueTest : public BmcRestoreTest, public ::testing::WithParamInterface<ValueRow> {};

TEST_P(BmcValueTest, IsSentAsTheBmcTakesIt) {
  const ValueRow& row = GetParam();
  Load(row.machine);
  Restore(WithValue(Saved(1), row.section, row.key, row.value), 1);
  EXPECT_EQ(Sent(row.path), row.sent);
}

constexpr const char* kMail = "EMAILCONFIG::CHANNEL1::INFO";
INSTANTIATE_TEST_SUITE_P(
    Rows, BmcValueTest,
    ::testing::Values(ValueRow{"NamesKeepTheirCase", "USERS::USER3", "UserName", "Admin",
                               "/BMC/USER[3]/NAME", "Admin"},
                      ValueRow{"MailUserToo", kMail, "SMTPUserName", "Me",
                               "/BMC/LAN[1]/ALERT/DESTINATION[0]/SMTP_USERNAME", "Me"},
                      ValueRow{"HostNameToo", "LANCHANNELS", "DHCPHostName", "Node-x",
                               "/BMC/LAN/DHCP_HOSTNAME", "Node-x"},
                      ValueRow{"CommunityToo", "CHANNEL::LAN1", "CommunityString", "Public",
                               "/BMC/LAN[1]/COMMUNITYSTRING", "Public"},
                      ValueRow{"MailTextsToo", kMail, "Subject", "Alarm now",
                               "/BMC/LAN[1]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", "Alarm now"},
                      ValueRow{"OthersAreUpperCased", "USERS::USER3", "GlobalUserStatus", "disable",
                               "/BMC/USER[3]/STATUS", "DISABLE"},
                      ValueRow{"AlsoInPlainSections", "POWER", "PowerRestorePolicy", "Off",
                               "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "OFF"},
                      ValueRow{"AlsoPerChannel", "USERS::USER3", "PrivilegeChl2", "Callback",
                               "/BMC/USER[3]/CHANNEL[2]/PRIVILEGE", "CALLBACK"},
                      ValueRow{"AlsoFilters", "PEF::FILTERS", "Filter2", "disable",
                               "/BMC/PEF/FILTER[2]/STATUS", "DISABLE"},
                      ValueRow{"EmptyIsSet", kMail, "Subject", "",
                               "/BMC/LAN[1]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", ""},
                      ValueRow{"ATabIsEmpty", "LANCHANNELS", "DHCPHostName", "\\x09",
                               "/BMC/LAN/DHCP_HOSTNAME", ""},
                      ValueRow{"IntervalInSteps", "CHANNEL::LAN1::SOL", "SolRetryInterval", "250",
                               "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", "25"},
                      ValueRow{"IntervalRoundedDown", "CHANNEL::LAN1::SOL", "SolRetryInterval",
                               "255", "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", "25"},
                      ValueRow{"IntervalBelowAStep", "CHANNEL::LAN1::SOL", "SolRetryInterval",
                               "9 ms", "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", "0"},
                      ValueRow{"NotAvailableIsNotSet", "USERS::USER3", "PrivilegeChl1", "n.a.",
                               "/BMC/USER[3]/CHANNEL[1]/PRIVILEGE", kNotSent},
                      ValueRow{"PayloadOfChannelFour", "USERS::USER3", "SOLEnableCh4", "ENABLE",
                               "/BMC/SOL/USER[3]/CHANNEL[4]/PAYLOADACCESS", kNotSent},
                      ValueRow{"AddressesStay", "CHANNEL::LAN2", "HostIP", "192.0.2.99",
                               "/BMC/LAN[2]/IP", kNotSent},
                      ValueRow{"ButNotOnThisProduct", "CHANNEL::LAN2", "HostIP", "192.0.2.99",
                               "/BMC/LAN[2]/IP", "192.0.2.99", "oskent"},
                      ValueRow{"CountsAreForReading", "USERS", "NumberOfUsers", "99", "/BMC/USER",
                               kNotSent},
                      ValueRow{"FailOverItself", "LANCHANNELS", "LANFailOver", "Enable",
                               "/BMC/LAN/FAILOVERMODE", "ENABLE"},
                      ValueRow{"FailOverTakesTheOtherChannels", "LANCHANNELS", "LANFailOver",
                               "Enable", "/BMC/LAN[2]/COMMUNITYSTRING", kNotSent},
                      ValueRow{"WithoutItTheyAreSet", "LANCHANNELS", "LANFailOver", "Disable",
                               "/BMC/LAN[2]/COMMUNITYSTRING", "Public-2"},
                      ValueRow{"DestinationAddress", "CHANNEL::LAN1", "AlertIP0", "192.0.2.7",
                               "/BMC/LAN[1]/ALERT/DESTINATION[0]/IP", "192.0.2.7"},
                      ValueRow{"DestinationMac", "CHANNEL::LAN1", "AlertMAC1", "00-0a",
                               "/BMC/LAN[1]/ALERT/DESTINATION[1]/MAC", "00-0A"}),
    [](const auto& row) { return row.param.name; });

class BmcExampleTest : public BmcRestoreTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(BmcExampleTest, EveryKeyIsRequiredButThoseOfChannelsAndDestinations) {
  Load(GetParam());
  const std::string saved = Saved(1);
  int required = 0;
  for (const auto& [name, value] : ValuesOf(saved)) {
    const std::size_t end = name.rfind("::");
    const std::string key = name.substr(end + 2);
    if (name.starts_with("SYSTEM")) continue;
    const bool isOptional = std::ranges::any_of(
        kOptionalKeys, [&](const char* start) { return key.starts_with(start); });
    EXPECT_EQ(CodeOfRestore(WithoutKey(saved, name.substr(0, end), key), 1), isOptional ? 0 : 1134)
        << name;
    required += isOptional ? 0 : 1;
    // Settings that were written at once before it stay; no batch leaves.
    EXPECT_EQ(BmcBatch().empty(), !isOptional) << name;
  }
  EXPECT_GT(required, 80);
}

TEST_P(BmcExampleTest, TheBiosModeLeavesTheBmcAlone) {
  Load(GetParam());
  const std::string saved = Saved(0);
  engine->reads.clear();
  Restore(saved, 0, true);
  for (const auto& write : engine->writes) EXPECT_NE(write.how, "batch(false,false)");
  for (const std::string& read : engine->reads) EXPECT_NE(read.substr(0, 8), "/BMC/LAN");
}

INSTANTIATE_TEST_SUITE_P(Machines, BmcExampleTest, ::testing::ValuesIn(kExamples),
                         [](const auto& row) { return std::string(row.param); });

class BmcWalkTest : public BmcRestoreTest {
 protected:
  BmcWalkTest() {
    Load("caldra");
    saved = Saved(1);
  }
  std::string saved;
};

TEST_F(BmcWalkTest, AnAbsentKeyLeavesTheChannelAlone) {
  std::string text = saved;
  for (const char* key : {"PrivilegeChl1", "UserAccessCh1", "SOLEnableCh1"}) {
    text = WithoutKey(text, "USERS::USER3", key);
  }
  Restore(text, 1);
  EXPECT_EQ(Sent("/BMC/USER[3]/NAME"), "Mira.Holt");
  EXPECT_EQ(Sent("/BMC/USER[3]/CHANNEL[1]/PRIVILEGE"), kNotSent);
  EXPECT_EQ(Sent("/BMC/SOL/USER[3]/CHANNEL[1]/PAYLOADACCESS"), kNotSent);
  EXPECT_EQ(Sent("/BMC/USER[3]/CHANNEL[2]/PRIVILEGE"), "USER");
}

TEST_F(BmcWalkTest, ADestinationTakesWhatTheFileHasOfIt) {
  const std::string half = WithoutKey(saved, "CHANNEL::LAN1", "AlertIP0");
  Restore(WithValue(half, "CHANNEL::LAN1", "AlertMAC0", "00-11"), 1);
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[0]/IP"), "192.0.2.50");  // the machine's own
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[0]/MAC"), "00-11");
  Restore(WithoutKey(half, "CHANNEL::LAN1", "AlertMAC0"), 1);
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[0]/MAC"), kNotSent);
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[1]/MAC"), "00-00-5E-00-53-16");
}

TEST_F(BmcWalkTest, Ipv6DetailsCountWhereItWillBeEnabled) {
  const std::string status = "/BMC/LAN[2]/IPV6STATUS";
  const std::string source = "/BMC/LAN[2]/IPV6SOURCE";
  const std::string with = WithValue(saved, "CHANNEL::LAN2", "IPV6Source", "AUTO");
  const auto sentWith = [&](const std::string& text, const std::string& value) {
    Restore(WithValue(text, "CHANNEL::LAN2", "IPV6Status", value), 1);
    return Sent(source);
  };
  EXPECT_EQ(sentWith(with, "Disable"), kNotSent);
  // The file enables it, so it needs the details; this one has the first of four.
  const std::string enabled = WithValue(with, "CHANNEL::LAN2", "IPV6Status", "enable");
  EXPECT_EQ(CodeOfRestore(enabled, 1), 1134);
  std::string whole = enabled;
  for (const char* key : {"IPV6PrefixLength", "IPV6", "IPV6GatewayIP"}) {
    whole = WithValue(whole, "CHANNEL::LAN2", key, "1");
  }
  Restore(whole, 1);
  EXPECT_EQ(Sent(source), "AUTO");
  // With fail-over the file's status is not queued, and the BMC's own one decides.
  engine->Set(status, "ENABLE");
  const std::string failOver = WithValue(with, "LANCHANNELS", "LANFailOver", "ENABLE");
  EXPECT_EQ(CodeOfRestore(WithValue(failOver, "CHANNEL::LAN2", "IPV6Status", "DISABLE"), 1), 0);
}

TEST_F(BmcWalkTest, AStatusInAnotherSpellingIsSavedAndRestored) {
  engine->Set("/BMC/LAN[1]/IPV6STATUS", "Enable");
  const std::string text = Saved(1);
  EXPECT_THAT(text, Not(HasSubstr("IPV6Source")));
  EXPECT_EQ(CodeOfRestore(text, 1), 0);
}

TEST_F(BmcWalkTest, OnlyTheFirstTwelveFiltersCountAndFewerMayBeMissing) {
  auto& filters = engine->tree["/BMC/PEF/FILTER"].values;
  ASSERT_GE(filters.size(), 13U);
  Restore(WithValue(saved, "PEF::FILTERS", "Filter13", "DISABLE"), 1);
  EXPECT_EQ(Sent("/BMC/PEF/FILTER[13]/STATUS"), kNotSent);
  EXPECT_EQ(BmcBatch().count("/BMC/PEF/FILTER[1]/STATUS"), 0U);
  filters.resize(11);
  EXPECT_EQ(CodeOfRestore(Saved(1), 1), 0);
  Restore(WithValue(Saved(1), "PEF::FILTERS", "Filter3", "disable"), 1);
  EXPECT_EQ(Sent("/BMC/PEF/FILTER[3]/STATUS"), "DISABLE");
  filters = {"/BMC/PEF/FILTER"};  // no member has a number
  EXPECT_EQ(CodeOfRestore(saved, 1), 0);
}

TEST_F(BmcWalkTest, ASettingThatTheServerLacksRestoresAsItWasSaved) {
  for (const char* path : {"/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", "/BMC/LAN/DHCP_HOSTNAME"}) {
    engine->tree.erase(path);
  }
  const std::string text = Saved(1);
  Restore(text, 1);
  EXPECT_EQ(Sent("/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL"), kNotSent);  // "0" would be a new value
  EXPECT_EQ(Sent("/BMC/LAN/DHCP_HOSTNAME"), "");
}

TEST_F(BmcWalkTest, AValueIsNeverSetCut) {
  const std::string longest(127, 'a');
  const auto restore = [&](const std::string& name) {
    return Restore(WithValue(saved, "LANCHANNELS", "DHCPHostName", name), 1);
  };
  EXPECT_EQ(restore(longest), "");
  EXPECT_EQ(Sent("/BMC/LAN/DHCP_HOSTNAME"), longest);
  EXPECT_EQ(restore(longest + "b"),
            "The value of \"LANCHANNELS::DHCPHostName\" in ini file is longer than 127 bytes, skip "
            "this item.\n");
  EXPECT_EQ(Sent("/BMC/LAN/DHCP_HOSTNAME"), kNotSent);
  engine->Set("/BMC/LAN/DHCP_HOSTNAME", longest + "b");
  EXPECT_EQ(restore(longest + "b"), "");
}

}  // namespace
}  // namespace Test
