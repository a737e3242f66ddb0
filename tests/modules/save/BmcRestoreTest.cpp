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
  const char* section;
  const char* key;
  const char* value;
  const char* path;  ///< below "/BMC/"
  const char* sent;
  const char* machine = "caldra";
};

constexpr const char* kMail = "EMAILCONFIG::CHANNEL1::INFO";
constexpr const char* kSol = "CHANNEL::LAN1::SOL";
constexpr ValueRow kValueRows[] = {
    // Names, secrets and the texts of e-mails keep their case, and nothing else does.
    {"USERS::USER3", "UserName", "Admin", "USER[3]/NAME", "Admin"},
    {kMail, "SMTPUserName", "Me", "LAN[1]/ALERT/DESTINATION[0]/SMTP_USERNAME", "Me"},
    {"LANCHANNELS", "DHCPHostName", "Node-x", "LAN/DHCP_HOSTNAME", "Node-x"},
    {"CHANNEL::LAN1", "CommunityString", "Public", "LAN[1]/COMMUNITYSTRING", "Public"},
    {kMail, "Subject", "Alarm", "LAN[1]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", "Alarm"},
    {"USERS::USER3", "GlobalUserStatus", "disable", "USER[3]/STATUS", "DISABLE"},
    {"POWER", "PowerRestorePolicy", "Off", "CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "OFF"},
    {"USERS::USER3", "PrivilegeChl2", "Callback", "USER[3]/CHANNEL[2]/PRIVILEGE", "CALLBACK"},
    {"PEF::FILTERS", "Filter2", "disable", "PEF/FILTER[2]/STATUS", "DISABLE"},
    // An empty value is one.
    {kMail, "Subject", "", "LAN[1]/ALERT/DESTINATION[1]/EMAIL_SUBJECT", ""},
    {"LANCHANNELS", "DHCPHostName", "\\x09", "LAN/DHCP_HOSTNAME", ""},
    // Intervals go in steps of 10 milliseconds.
    {kSol, "SolRetryInterval", "250", "SOL/CHANNEL[1]/RETRY/INTERVAL", "25"},
    {kSol, "SolRetryInterval", "255", "SOL/CHANNEL[1]/RETRY/INTERVAL", "25"},
    {kSol, "SolRetryInterval", "9 ms", "SOL/CHANNEL[1]/RETRY/INTERVAL", "0"},
    {kSol, "SolRetryInterval", "0", "SOL/CHANNEL[1]/RETRY/INTERVAL", "0"},
    // What a restore keeps back.
    {"USERS::USER3", "PrivilegeChl1", "n.a.", "USER[3]/CHANNEL[1]/PRIVILEGE", kNotSent},
    {"USERS::USER3", "SOLEnableCh4", "ENABLE", "SOL/USER[3]/CHANNEL[4]/PAYLOADACCESS", kNotSent},
    {"CHANNEL::LAN2", "HostIP", "192.0.2.99", "LAN[2]/IP", kNotSent},
    {"CHANNEL::LAN2", "HostIP", "192.0.2.99", "LAN[2]/IP", "192.0.2.99", "oskent"},
    {"USERS", "NumberOfUsers", "99", "USER", kNotSent},
    // Fail-over takes the other channels.
    {"LANCHANNELS", "LANFailOver", "Enable", "LAN/FAILOVERMODE", "ENABLE"},
    {"LANCHANNELS", "LANFailOver", "Enable", "LAN[2]/COMMUNITYSTRING", kNotSent},
    {"LANCHANNELS", "LANFailOver", "Disable", "LAN[2]/COMMUNITYSTRING", "Public-2"},
    {"CHANNEL::LAN1", "AlertIP0", "192.0.2.7", "LAN[1]/ALERT/DESTINATION[0]/IP", "192.0.2.7"},
    {"CHANNEL::LAN1", "AlertMAC1", "00-0a", "LAN[1]/ALERT/DESTINATION[1]/MAC", "00-0A"},
};

TEST_F(BmcRestoreTest, AValueIsSentAsTheBmcTakesIt) {
  for (const ValueRow& row : kValueRows) {
    Load(row.machine);
    Restore(WithValue(Saved(1), row.section, row.key, row.value), 1);
    EXPECT_EQ(Sent(std::string("/BMC/") + row.path), row.sent) << row.key << "=" << row.value;
  }
}

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

INSTANTIATE_TEST_SUITE_P(Machines, BmcExampleTest, ::testing::ValuesIn(kExamples), kNameItself);

class BmcWalkTest : public BmcRestoreTest {
 protected:
  BmcWalkTest() {
    Load("caldra");
    saved = Saved(1);
  }
  std::string saved;
};

TEST_F(BmcWalkTest, OfChannelsAndDestinationsAFileMayLackKeys) {
  std::string text = saved;
  for (const char* key : {"PrivilegeChl1", "UserAccessCh1", "SOLEnableCh1"}) {
    text = WithoutKey(text, "USERS::USER3", key);
  }
  text = WithoutKey(text, "CHANNEL::LAN1", "AlertIP0");
  Restore(WithValue(text, "CHANNEL::LAN1", "AlertMAC0", "00-11"), 1);
  EXPECT_EQ(Sent("/BMC/USER[3]/NAME"), "Mira.Holt");
  EXPECT_EQ(Sent("/BMC/USER[3]/CHANNEL[1]/PRIVILEGE"), kNotSent);
  EXPECT_EQ(Sent("/BMC/SOL/USER[3]/CHANNEL[1]/PAYLOADACCESS"), kNotSent);
  EXPECT_EQ(Sent("/BMC/USER[3]/CHANNEL[2]/PRIVILEGE"), "USER");
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[0]/IP"), "192.0.2.50");  // the machine's own
  EXPECT_EQ(Sent("/BMC/LAN[1]/ALERT/DESTINATION[0]/MAC"), "00-11");
  Restore(WithoutKey(text, "CHANNEL::LAN1", "AlertMAC0"), 1);
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
  auto& filters = engine->tree["/BMC/PEF/FILTER"].values.Edit();
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

TEST_F(BmcWalkTest, WhatTheServerReservesNowIsMissingAllTheSameWhereTheSaveWritesIt) {
  struct {
    const char *section, *key, *path;
    int code;
  } const rows[] = {
      {"POWER", "PowerRestorePolicy", "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", 1134},
      {"CHANNEL::LAN1", "IPV6Source", "/BMC/LAN[1]/IPV6SOURCE", 1134},
      {"CHANNEL::LAN1::SOL", "SolRetryInterval", "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL", 1134},
      {"PEF::FILTERS", "Filter3", "/BMC/PEF/FILTER[3]/STATUS", 0},
      {"USERS::USER3", "GlobalUserStatus", "/BMC/USER[3]/STATUS", 0},
  };
  for (const auto& row : rows) {
    Load("caldra");
    engine->Set(row.path, "RESERVED");
    EXPECT_EQ(CodeOfRestore(WithoutKey(saved, row.section, row.key), 1), row.code) << row.key;
    EXPECT_EQ(CodeOfRestore(Saved(1), 1), 0) << row.key;
  }
  // The instance has ended there: its channels are left alone, whatever the file says of them.
  EXPECT_EQ(CodeOfRestore(WithoutKey(saved, "USERS::USER3", "GlobalUserStatus"), 1), 0);
  EXPECT_EQ(Sent("/BMC/USER[3]/NAME"), "Mira.Holt");
  EXPECT_EQ(Sent("/BMC/USER[3]/CHANNEL[2]/PRIVILEGE"), kNotSent);
}

TEST_F(BmcWalkTest, InstancesAreTheChildrenThatTheSaveListsToo) {
  auto& channels = engine->tree["/BMC/LAN"].values.Edit();
  const std::vector<std::string> children = channels;
  channels = {"/BMC/LAN[1]", "x[2]"};  // saved as channels 1 and 2
  Restore(saved, 1);
  EXPECT_EQ(Sent("/BMC/LAN[1]/COMMUNITYSTRING"), "Public-1");
  EXPECT_EQ(Sent("/BMC/LAN[2]/COMMUNITYSTRING"), kNotSent);
  // With a first entry without brackets the save lists none.
  channels = children;
  channels.insert(channels.begin(), "LAN");
  const std::string text = Saved(1);
  EXPECT_THAT(text, Not(HasSubstr("[CHANNEL::LAN1]")));
  EXPECT_EQ(CodeOfRestore(text, 1), 0);
  channels = children;
  EXPECT_EQ(CodeOfRestore(text, 1), 1134);
}

TEST_F(BmcWalkTest, ASettingThatTheServerLacksRestoresAsItWasSaved) {
  const std::string interval = "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL";
  for (const std::string& path : {interval, std::string("/BMC/LAN/DHCP_HOSTNAME")}) {
    engine->tree.erase(path);
  }
  const std::string text = Saved(1);
  Restore(text, 1);
  EXPECT_EQ(Sent(interval), kNotSent);  // the saved "0" says nothing
  EXPECT_EQ(Sent("/BMC/LAN/DHCP_HOSTNAME"), "");
  Restore(WithValue(text, kSol, "SolRetryInterval", "5"), 1);
  EXPECT_EQ(Sent(interval), "0");
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
