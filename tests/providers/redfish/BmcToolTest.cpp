// The settings of a BMC over Redfish, from a file to the resources of the strict service and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "ToolFixture.h"
#include "support/FileEdit.h"
#ifdef SAVERESTORE_SIMULATOR
#include "Simulator.h"
#endif

namespace Test {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Lines = std::vector<std::string>;

const std::string kSystem = RedfishService::kSystem;
const std::string kAccounts = "/redfish/v1/AccountService/Accounts";
const std::string kManager = "/redfish/v1/Managers/BMC";
const std::string kShared = kManager + "/EthernetInterfaces/shared";
const std::string kDedicated = kManager + "/EthernetInterfaces/dedicated";
const std::string kProtocols = kManager + "/NetworkProtocol";
const std::string kEvents = "/redfish/v1/EventService";
const std::string kSubscriptions = kEvents + "/Subscriptions";

/// A setting of a file. "#" stands for each of the two channels: they have one value.
struct Setting {
  std::string name;  ///< "SECTION::KEY"
  std::string value;
};

class BmcToolTest : public ToolOnRedfishTest {
 protected:
  void SetUp() override {
    ToolOnRedfishTest::SetUp();
    WriteText(PathOf("users"),
              "Five:secret-five\nOper-2:secret-oper\noper:secret-oper\nroot:redfish-password\n");
    EXPECT_EQ(chmod(PathOf("users").c_str(), 0600), 0);
  }

  static Lines NamesOf(const std::string& name) {
    Lines names;
    for (const char* channel : {"1", "2"}) {
      std::string one = name;
      if (const std::size_t at = one.find('#'); at != std::string::npos)
        one.replace(at, 1, channel);
      names.push_back(one);
    }
    return names;
  }
  void Change(const std::string& file, const std::vector<Setting>& settings) const {
    std::string text = ReadText(PathOf(file));
    for (const auto& [name, value] : settings) {
      for (const std::string& one : NamesOf(name)) {
        const std::size_t end = one.rfind("::");
        text = WithValue(text, one.substr(0, end), one.substr(end + 2), value);
      }
    }
    WriteText(PathOf(file), text);
  }
  /// Saves a file with these values in it.
  void SaveEdited(const std::string& file, const std::vector<Setting>& settings) {
    ASSERT_EQ(RunRemote("save --overwrite " + file).exitCode, 0);
    Change(file, settings);
    service->TakeRequests();
  }
  [[nodiscard]] ToolOutcome Restore(const std::string& arguments) const {
    return RunRemote("restore --yes --no-backup --keep-going --user-password-file users " +
                     arguments);
  }
  /// The requests since the last call that change anything but the session.
  [[nodiscard]] Lines Changes() const {
    Lines lines = service->TakeLines();
    std::erase_if(lines, [](const std::string& line) {
      return line.starts_with("GET ") || line.find("/Sessions") != std::string::npos;
    });
    return lines;
  }
  /// The keys, without their numbers, in which two files differ.
  [[nodiscard]] std::set<std::string> KeysThatDiffer(const char* one, const char* other) const {
    std::set<std::string> keys;
    for (const auto& [name, value] : DifferenceOf(ReadText(PathOf(one)), ReadText(PathOf(other)))) {
      const std::string key = name.substr(name.rfind("::") + 2);
      keys.insert(key.substr(0, key.find_last_not_of("0123456789") + 1));
    }
    return keys;
  }
  [[nodiscard]] json Stored(const std::string& resource) const {
    return service->State("tree").at(resource);
  }
};

struct Row {
  std::string name;
  const char* saved;
  const char* edited;
  std::string resource;
  const char* pointer;
  json stored;
};

const std::vector<Row> kRows = {
    {"POWER::PowerRestorePolicy", "RESTORE", "ON", kSystem, "/PowerRestorePolicy", "AlwaysOn"},
    {"USERS::USER3::UserName", "oper", "Oper-2", kAccounts + "/3", "/UserName", "Oper-2"},
    {"USERS::USER3::GlobalUserStatus", "ENABLE", "DISABLE", kAccounts + "/3", "/Enabled", false},
    {"USERS::USER4::PrivilegeChl#", "USER", "OPERATOR", kAccounts + "/4", "/RoleId", "Operator"},
    {"USERS::USER3::UserAccessCh#",
     "ENABLE",
     "DISABLE",
     kAccounts + "/3",
     "/AccountTypes",
     {"Redfish", "HostConsole"}},
    {"USERS::USER3::SOLEnableCh#",
     "DISABLE",
     "ENABLE",
     kAccounts + "/3",
     "/AccountTypes",
     {"Redfish", "HostConsole"}},
    {"LANCHANNELS::DHCPHostName", "bmc-7", "Rack-7", kShared, "/HostName", "Rack-7"},
    {"CHANNEL::LAN#::AccessMode", "ALWAYS", "DISABLED", kProtocols, "/IPMI/ProtocolEnabled", false},
    {"CHANNEL::LAN#::CommunityString", "public", "Secret-7", kProtocols, "/SNMP/CommunityStrings",
     json::parse(R"([{"Name": "first", "CommunityString": "Secret-7", "AccessMode": "Limited"},
                     {"Name": "second", "CommunityString": "operators", "AccessMode": "Full"}])")},
    {"CHANNEL::LAN2::DHCPEnable", "ENABLE", "DISABLE", kDedicated, "/DHCPv4/DHCPEnabled", false},
    {"CHANNEL::LAN2::DHCPEnable", "ENABLE", "DISABLE", kDedicated, "/IPv4StaticAddresses/0/Address",
     "198.51.100.20"},
    {"CHANNEL::LAN2::IPV6Status", "ENABLE", "DISABLE", kDedicated, "/IPv6Enabled", false},
    {"CHANNEL::LAN1::IPV6Source", "STATIC", "DHCPV6", kShared, "/DHCPv6/OperatingMode", "Stateful"},
    {"CHANNEL::LAN#::AlertIP0", "192.0.2.30", "192.0.2.77", kSubscriptions + "/5", "/Destination",
     "snmp://192.0.2.77:162"},
    {"CHANNEL::LAN#::SOL::SOLEnable", "ENABLE", "DISABLE", kSystem,
     "/SerialConsole/IPMI/ServiceEnabled", false},
    {"EMAILCONFIG::CHANNEL#::INFO::FromAddress", "bmc@example.com", "New@example.com", kEvents,
     "/SMTP/FromAddress", "New@example.com"},
    {"EMAILCONFIG::CHANNEL#::INFO::SMTPUserName", "mailer", "Postman", kEvents, "/SMTP/Username",
     "Postman"},
    {"EMAILCONFIG::CHANNEL#::INFO::ServerAddress", "192.0.2.25", "2001:db8::25", kEvents,
     "/SMTP/ServerAddress", "2001:db8::25"},
    {"EMAILCONFIG::CHANNEL#::INFO::PortNumber", "587", "465", kEvents, "/SMTP/Port", 465},
    {"EMAILCONFIG::CHANNEL#::INFO::AuthenticationEncryptMethod", "ESMTP_STARTTLS", "ESMTP_SMTPS",
     kEvents, "/SMTP/ConnectionProtocol", "TLS_SSL"},
    {"EMAILCONFIG::CHANNEL#::INFO::ToAddress", "operators@example.com", "Night@example.com",
     kSubscriptions + "/7", "/Destination", "mailto:Night@example.com"},
};

// What only shows: counts, and the addresses that a BMC keeps.
const std::vector<Setting> kShown = {
    {"USERS::NumberOfUsers", "5"},
    {"LANCHANNELS::NumberOfLANChannels", "2"},
    {"EMAILCONFIG::NumberOfEmailConfig", "2"},
    {"CHANNEL::LAN1::HostIP", "192.0.2.10"},
    {"CHANNEL::LAN1::SubnetMask", "255.255.255.0"},
    {"CHANNEL::LAN1::GatewayIP", "192.0.2.1"},
    {"CHANNEL::LAN1::IPV6PrefixLength", "64"},
    {"CHANNEL::LAN1::IPV6", "2001:DB8::10"},
    {"CHANNEL::LAN1::IPV6GatewayIP", "2001:DB8::1"},
    {"CHANNEL::LAN2::HostIP", "198.51.100.20"},
};

TEST_F(BmcToolTest, EachRowIsReadAndWrittenBothWays) {
  service->Edit(kDedicated, {{"IPv6Enabled", true}});
  SaveEdited("x.ini", {});
  const auto saved = ValuesOf(ReadText(PathOf("x.ini")));
  for (const auto& [name, value] : kShown) EXPECT_EQ(saved.at(name), value) << name;
  WriteText(PathOf("y.ini"), ReadText(PathOf("x.ini")));
  for (const Row& row : kRows) {
    for (const std::string& name : NamesOf(row.name)) EXPECT_EQ(saved.at(name), row.saved) << name;
    Change("y.ini", {{row.name, row.edited}});
  }
  EXPECT_EQ(Restore("x.ini").exitCode, 0);
  EXPECT_THAT(Changes(), IsEmpty());

  const ToolOutcome restored = Restore("--allow-lockout y.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.out << restored.err;
  Lines lines = Changes();
  for (const Row& row : kRows) {
    EXPECT_EQ(Stored(row.resource).at(json::json_pointer(row.pointer)), row.stored) << row.name;
  }
  std::ranges::sort(lines);
  EXPECT_THAT(
      lines,
      ElementsAre("DELETE " + kSubscriptions + "/2", "DELETE " + kSubscriptions + "/3",
                  "DELETE " + kSubscriptions + "/4", "PATCH " + kAccounts + "/3",
                  "PATCH " + kAccounts + "/4", "PATCH " + kEvents, "PATCH " + kDedicated,
                  "PATCH " + kShared, "PATCH " + kProtocols, "PATCH " + kSystem,
                  "POST " + kSubscriptions, "POST " + kSubscriptions, "POST " + kSubscriptions));
  ASSERT_EQ(RunRemote("save z.ini").exitCode, 0);
  const auto after = ValuesOf(ReadText(PathOf("z.ini")));
  for (const auto& [name, value] : ValuesOf(ReadText(PathOf("y.ini")))) {
    const bool isGone = name.starts_with("CHANNEL::LAN2::IPV6") && !name.ends_with("Status");
    EXPECT_EQ(after.contains(name) ? after.at(name) : "(gone)", isGone ? "(gone)" : value) << name;
  }

  EXPECT_EQ(Restore("--allow-lockout x.ini").exitCode, 0);
  ASSERT_EQ(RunRemote("save --overwrite z.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("z.ini")), ReadText(PathOf("x.ini")));
}

TEST_F(BmcToolTest, WhatCutsOffTheWayIsNamedRefusedAndLast) {
  struct Lockout {
    Setting setting;
    const char* text;
    std::string resource;
  };
  const Lockout lockouts[] = {
      {{"USERS::USER2::UserName", "root"}, "the way back needs the new name", kAccounts + "/2"},
      {{"USERS::USER2::GlobalUserStatus", "DISABLE"}, "nobody can log in", kAccounts + "/2"},
      {{"USERS::USER2::PrivilegeChl#", "USER"}, "too little privilege", kAccounts + "/2"},
      {{"CHANNEL::LAN1::DHCPEnable", "ENABLE"}, "another address", kShared},
      {{"CHANNEL::LAN1::IPV6Status", "DISABLE"}, "another address", kShared},
  };
  for (const auto& [setting, text, resource] : lockouts) {
    SCOPED_TRACE(setting.name);
    service->Renew();
    service->Edit(kAccounts + "/3", {{"RoleId", "Administrator"}});
    service->Edit(kShared, {{"IPv4Addresses", {{{"Address", "127.0.0.1"}}}}});
    SaveEdited("x.ini", {{"USERS::USER4::UserName", "Vier"},
                         {"CHANNEL::LAN2::DHCPEnable", "DISABLE"},
                         {"EMAILCONFIG::CHANNEL#::INFO::PortNumber", "25"},
                         setting});
    const ToolOutcome refused = Restore("x.ini");
    EXPECT_EQ(refused.exitCode, 64) << refused.out << refused.err;
    EXPECT_THAT(refused.out + refused.err, AllOf(HasSubstr(text), HasSubstr("--allow-lockout")));
    EXPECT_THAT(Changes(), IsEmpty());

    const ToolOutcome allowed = Restore("--allow-lockout x.ini");
    const Lines lines = Changes();
    ASSERT_EQ(lines.size(), 4U) << allowed.out << allowed.err;
    EXPECT_EQ(lines.back(), "PATCH " + resource);
  }
}

TEST_F(BmcToolTest, AnAccountIsMadeOrOpenedWithAPasswordAlone) {
  struct Case {
    const char* accounts;
    const char* passwords;
    int exitCode;
    const char* method;  ///< of the request that gives the password; empty for none
    const char* text;
  };
  const Case cases[] = {
      {"accounts=made", "Vier:secret-vier\n", 1, "",
       "not applied (the server makes this account only"},
      {"accounts=fixed", "Vier:secret-vier\n", 64, "",
       "give its password with --user-password-file"},
      {"accounts=made", "Five:secret-five\n", 0, "POST", "Five  applied"},
      {"accounts=fixed", "Five:secret-five\n", 0, "PATCH", "Five  applied"},
  };
  SaveEdited("x.ini", {{"USERS::USER5::UserName", "Five"},
                       {"USERS::USER5::GlobalUserStatus", "ENABLE"},
                       {"USERS::USER5::PrivilegeChl#", "OPERATOR"},
                       {"USERS::USER5::UserAccessCh#", "ENABLE"}});
  for (const Case& one : cases) {
    SCOPED_TRACE(std::string(one.accounts) + one.passwords);
    service->Renew();
    service->Knobs({one.accounts});
    WriteText(PathOf("users"), one.passwords);
    const ToolOutcome restored = Restore("x.ini");
    EXPECT_EQ(restored.exitCode, one.exitCode);
    EXPECT_THAT(restored.out + restored.err, HasSubstr(one.text));
    std::string method;
    for (const RedfishRequest& request : service->TakeRequests()) {
      if (request.body.is_object() && request.body.value("Password", "") == "secret-five") {
        method = request.line.substr(0, request.line.find(' '));
      }
    }
    EXPECT_EQ(method, one.method);
    if (one.exitCode != 0) continue;
    const json account = Stored(kAccounts + "/5");
    EXPECT_EQ(account.at("UserName"), "Five");
    EXPECT_EQ(account.at("RoleId"), "Operator");
    EXPECT_EQ(account.at("AccountTypes"), json({"Redfish", "IPMI"}));
  }
}

TEST_F(BmcToolTest, ASlotThatNobodyUsesIsAsGoodAsNone) {
  SaveEdited("x.ini", {});
  service->Knobs({"accounts=made"});
  EXPECT_EQ(RunRemote("verify x.ini").exitCode, 0);
  EXPECT_EQ(RunRemote("diff x.ini").exitCode, 0);
  Change("x.ini", {{"USERS::USER5::UserName", "Five"}});
  EXPECT_EQ(RunRemote("verify x.ini").exitCode, 1);
}

TEST_F(BmcToolTest, ASubscriptionIsMadeBeforeTheOldOneGoes) {
  const std::string post = "POST " + kSubscriptions;
  const std::string gone = "DELETE " + kSubscriptions;
  SaveEdited("x.ini", {{"CHANNEL::LAN#::AlertIP0", "192.0.2.77"}});
  EXPECT_EQ(Restore("x.ini").exitCode, 0);
  EXPECT_THAT(Changes(), ElementsAre(post, post, gone + "/2", gone + "/4"));
  const json made = Stored(kSubscriptions + "/5");
  EXPECT_EQ(made.at("SNMP"), json({{"TrapCommunity", "traps"}}));
  EXPECT_EQ(made.at("Context"), "traps of the first manager");
  EXPECT_EQ(Stored(kSubscriptions + "/6").at("Destination"), "snmp://192.0.2.31");
  EXPECT_EQ(Stored(kSubscriptions + "/1").at("Destination"), "https://events.example.com/redfish");

  SaveEdited("x.ini", {{"CHANNEL::LAN#::AlertIP1", "0.0.0.0"}});
  EXPECT_EQ(Restore("x.ini").exitCode, 0);
  EXPECT_THAT(Changes(), ElementsAre(gone + "/6"));

  service->Knobs({"refuse=Destination"});
  SaveEdited("x.ini", {{"CHANNEL::LAN#::AlertIP0", "192.0.2.78"}});
  const ToolOutcome refused = Restore("x.ini");
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.out, HasSubstr("192.0.2.77 → 192.0.2.78  not applied (The value of"));
  EXPECT_THAT(Changes(), ElementsAre(post));
}

TEST_F(BmcToolTest, TheReportSaysWhatBecameOfEachResource) {
  struct Case {
    std::vector<std::string> knobs;
    int exitCode;
    Lines texts;
  };
  const Case cases[] = {
      {{"slow=100"}, 0, {"3 applied"}},
      {{"task=2"}, 0, {"3 applied"}},
      {{"late=2"}, 0, {"3 applied"}},
      {{"etag=required"}, 0, {"3 applied"}},
      {{"refuse=UserName"},
       1,
       {"oper → Oper-2  not applied (The value of the property UserName is",
        "bmc-7 → Rack-7  applied", "2 applied"}},
      {{"refuse-unnamed=HostName"},
       1,
       {"bmc-7 → Rack-7  not applied (The request is refused", "oper → Oper-2  applied"}},
      {{"ignore=HostName"}, 1, {"bmc-7 → Rack-7  not applied (the server accepted it and kept"}},
      {{"dies-after=1"},
       69,
       {"RESTORE → ON  not read back", "oper → Oper-2  not applied (it was not sent",
        "bmc-7 → Rack-7  not applied (it was not sent"}},
      {{"close=PATCH " + kAccounts + "/3"},
       69,
       {"RESTORE → ON  not read back", "oper → Oper-2  not applied (the session was lost",
        "bmc-7 → Rack-7  not applied (it was not sent"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.knobs.front());
    service->Renew();
    SaveEdited("x.ini", {{"POWER::PowerRestorePolicy", "ON"},
                         {"USERS::USER3::UserName", "Oper-2"},
                         {"LANCHANNELS::DHCPHostName", "Rack-7"}});
    service->Knobs(one.knobs);
    const ToolOutcome restored = Restore("x.ini");
    EXPECT_EQ(restored.exitCode, one.exitCode) << restored.out << restored.err;
    for (const std::string& text : one.texts) EXPECT_THAT(restored.out, HasSubstr(text));
  }
}

TEST_F(BmcToolTest, ASaveOfBothHalvesFetchesEachResourceOnce) {
  const auto requests = [&](bool expands) {
    service->Edit("/redfish/v1",
                  {{"ProtocolFeaturesSupported", {{"ExpandQuery", {{"NoLinks", expands}}}}}});
    service->TakeLines();
    EXPECT_EQ(RunRemote("save --overwrite --mode all " + std::string(expands ? "y" : "x") + ".ini")
                  .exitCode,
              0);
    Lines lines = service->TakeLines();
    std::ranges::sort(lines);
    EXPECT_EQ(std::ranges::adjacent_find(lines), lines.end());
    return lines.size();
  };
  EXPECT_EQ(requests(false), 36U);
  EXPECT_EQ(requests(true), 19U);
  EXPECT_EQ(ReadText(PathOf("x.ini")), ReadText(PathOf("y.ini")));
}

TEST_F(BmcToolTest, ASlowServiceIsAskedForSeveralThingsAtOnce) {
  const std::string failures[] = {"",
                                  "session-requests=9",
                                  "status=500 " + kAccounts + "/3",
                                  "status=403 " + kAccounts + "*",
                                  "garbage=" + kManager,
                                  "close=" + kDedicated,
                                  "stall=" + kProtocols,
                                  "stall=" + kAccounts + "/*"};
  for (const std::string& failure : failures) {
    SCOPED_TRACE(failure);
    const auto save = [&](const std::string& speed) {
      service->Renew();
      service->Knobs({speed});
      if (!failure.empty()) service->Knobs({failure});
      return RunRemote("-v save --overwrite --mode all x.ini");
    };
    const ToolOutcome one = save("slow=0");
    const std::string file = ReadText(PathOf("x.ini"));
    const ToolOutcome several = save("slow=40");
    EXPECT_EQ(several.exitCode, one.exitCode);
    EXPECT_EQ(several.err, one.err);
    EXPECT_EQ(ReadText(PathOf("x.ini")), file);
    EXPECT_GE(service->State("connections"), 4);
    EXPECT_EQ(service->State("sessions"), 0);
    // What does not answer is waited for once.
    if (!failure.empty() && !failure.starts_with("stall")) continue;
    Lines lines = service->TakeLines();
    std::ranges::sort(lines);
    EXPECT_EQ(std::ranges::adjacent_find(lines), lines.end());
    if (failure.empty()) {
      EXPECT_EQ(lines.size(), 36U);
    }
  }
}

#ifdef SAVERESTORE_SIMULATOR
TEST_F(BmcToolTest, TheSameMachineReadsAlikeOverIpmi) {
  if (!Simulator::IsUsable()) GTEST_SKIP() << "ipmi_sim is not installed";
  const Simulator simulator(PathOf("sim"), Simulator::Commands::All);
  WriteText(PathOf("pw"), "secret\n");
  const auto overIpmi = [&](const std::string& arguments) {
    return Run("--target ipmi:admin@127.0.0.1:" + std::to_string(simulator.Port()) +
               " --bmc-password-file pw --ipmi-workaround opensesspriv " + arguments);
  };
  const std::pair<std::string, const char*> facts[] = {
      {kSystem, R"({"BiosVersion": "SIM1.2.3.build-0042"})"},
      {kManager, R"({"FirmwareVersion": "9.08"})"},
      {kAccounts + "/1", R"({"Enabled": true, "AccountTypes": ["IPMI"]})"},
      {kAccounts + "/5", R"({"UserName": "five", "AccountTypes": ["IPMI"]})"},
      {kShared, R"({"HostName": "bmc-in-a-box", "IPv4Addresses": [], "IPv4StaticAddresses": [],
                    "IPv6Addresses": [{"Address": "2001:db8::1", "PrefixLength": 64}]})"},
      {kDedicated, R"({"DHCPv4": {"DHCPEnabled": false}, "IPv4Addresses": []})"},
      {kSubscriptions + "/2", R"({"Destination": "snmp://192.0.2.51"})"},
      {kSubscriptions + "/4", R"({"Destination": "snmp://192.0.2.52"})"},
  };
  for (const auto& [resource, patch] : facts) service->Edit(resource, json::parse(patch));
  ASSERT_EQ(RunRemote("save --mode bmc r.ini").exitCode, 0);
  const ToolOutcome saved = overIpmi("save --mode bmc i.ini");
  ASSERT_EQ(saved.exitCode, 0) << saved.err;
  // What one of the two has no place for.
  const std::set<std::string> onlyIpmi = {"AlertEnable",
                                          "PerMessageAuthentication",
                                          "UserLevelAuthentication",
                                          "PrivilegeLevelLimit",
                                          "ARPEnable",
                                          "ARPResponse",
                                          "ARPInterval",
                                          "GatewayMAC",
                                          "BackupGatewayIP",
                                          "BackupGatewayMAC",
                                          "AlertMAC",
                                          "PEFEnable",
                                          "Filter",
                                          "SolNumberOfRetries",
                                          "SolRetryInterval"};
  const std::set<std::string> onlyRedfish = {"NumberOfEmailConfig",
                                             "FromAddress",
                                             "ToAddress",
                                             "SMTPUserName",
                                             "ServerAddress",
                                             "PortNumber",
                                             "AuthenticationEncryptMethod"};
  std::set<std::string> ofOne = onlyIpmi;
  ofOne.insert(onlyRedfish.begin(), onlyRedfish.end());
  EXPECT_EQ(KeysThatDiffer("i.ini", "r.ini"), ofOne);
  // What a target has no setting for is no difference there.
  const ToolOutcome verified = RunRemote("verify --mode bmc i.ini");
  EXPECT_EQ(verified.exitCode, 0) << verified.out;
  EXPECT_EQ(overIpmi("verify --mode bmc r.ini").exitCode, 0);

  service->Knobs({"password=secret"});
  const auto overBoth = [&](const std::string& options) {
    EXPECT_EQ(overIpmi("--target redfish:admin@" + service->Host() + " --cacert " +
                       service->CaCert() + options + " save --overwrite --mode bmc b.ini")
                  .exitCode,
              0);
    return ReadText(PathOf("b.ini"));
  };
  EXPECT_EQ(overBoth(""), ReadText(PathOf("i.ini")));
  EXPECT_EQ(overBoth(" --bmc-over ipmi"), ReadText(PathOf("i.ini")));
  EXPECT_EQ(overBoth(" --bmc-over redfish"), ReadText(PathOf("r.ini")));
  service->Unset("password");

  Change("r.ini", {{"POWER::PowerRestorePolicy", "ON"},
                   {"USERS::USER4::PrivilegeChl#", "OPERATOR"},
                   {"LANCHANNELS::DHCPHostName", "Rack-7"},
                   {"CHANNEL::LAN#::AlertIP0", "192.0.2.77"},
                   {"CHANNEL::LAN#::SOL::SOLEnable", "DISABLE"}});
  const auto interval = [&] {
    return ValuesOf(ReadText(PathOf("i.ini"))).at("CHANNEL::LAN1::SOL::SolRetryInterval");
  };
  const std::string before = interval();
  EXPECT_NE(before, "0");
  EXPECT_EQ(overIpmi("restore --yes --no-backup --mode bmc r.ini").exitCode, 0);
  EXPECT_EQ(overIpmi("verify --mode bmc r.ini").exitCode, 0);
  EXPECT_EQ(Restore("--mode bmc r.ini").exitCode, 0);
  ASSERT_EQ(overIpmi("save --overwrite --mode bmc i.ini").exitCode, 0);
  EXPECT_EQ(interval(), before);  // the file of a server without retries does not tell it
  ASSERT_EQ(RunRemote("save --mode bmc s.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("s.ini")), ReadText(PathOf("r.ini")));
  EXPECT_THAT(KeysThatDiffer("i.ini", "r.ini"), ::testing::IsSubsetOf(ofOne));
}
#endif

}  // namespace
}  // namespace Test
