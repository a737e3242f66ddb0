// The IPMI back end over ipmi_sim.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <utility>

#include "Simulator.h"
#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "query/XDirector.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Fate = SDK::WriteNote::Fate;

class IpmiLocalTest : public EngineTest {};

TEST_F(IpmiLocalTest, AMissingDeviceNamesTheModulesAndAForbiddenOneThePermission) {
  const auto messageOf = [](const std::string& device, int code) {
    try {
      Ipmi::LocalAddress address;
      address.device = device;
      static_cast<void>(Ipmi::OpenLocal(address));
    } catch (const ResultStatus& failure) {
      EXPECT_EQ(failure.getval(), code);
      return failure.message();
    }
    return std::string();
  };
  EXPECT_THAT(messageOf(PathOf("none"), ErrorManager::Unreachable),
              ::testing::AllOf(HasSubstr(PathOf("none")), HasSubstr("ipmi_devintf")));
  const std::string forbidden = PathOf("ipmi0");
  WriteText(forbidden, "");
  ASSERT_EQ(chmod(forbidden.c_str(), 0), 0);
  constexpr uid_t kNobody = 65534;
  const bool isRoot = geteuid() == 0;  // who may open everything
  if (isRoot && seteuid(kNobody) != 0) FAIL() << "seteuid";
  const std::string message = messageOf(forbidden, ErrorManager::NotPermitted);
  if (isRoot && seteuid(0) != 0) FAIL() << "seteuid";
  EXPECT_THAT(message, HasSubstr("root"));
}

/// Which session an Open Session Request (IPMI 2.0, table 13-9) is for, by the number that the
/// console has chosen; empty for any other datagram.
std::string_view OpenedBy(std::string_view datagram) {
  const bool isOpening = datagram.size() > 28 && datagram[4] == 6 && datagram[5] == 0x10;
  return isOpening ? datagram.substr(20, 4) : std::string_view();
}

/// A provider that is logged in to a simulated BMC with all commands.
class IpmiProviderTest : public EngineTest {
 protected:
  void SetUp() override {
    if (!Simulator::IsUsable()) GTEST_SKIP() << "ipmi_sim is not installed";
    simulator = std::make_unique<Simulator>(PathOf("sim"), Simulator::Commands::All);
    provider = Login(simulator->Port());
    simulator->TakeRequests();
  }

  static std::unique_ptr<Ipmi::IpmiProvider> Login(
      std::uint16_t port, std::chrono::milliseconds patience = 10s,
      const Ipmi::Patience& slow = {600ms, 1s}, std::uint8_t suite = 0, const std::string& key = "",
      const std::function<void()>& checkpoint = [] {},
      const std::function<void(Ipmi::RemoteAddress&)>& adjust = [](auto&) {}) {
    Ipmi::RemoteAddress address;
    address.host = "127.0.0.1:" + std::to_string(port);
    address.user = "admin";
    address.password = "secret";
    address.workarounds = {"opensesspriv"};
    address.patience = patience;
    address.resendAfter = 100ms;
    address.cipherSuite = suite;
    address.bmcKey = key;
    address.checkpoint = checkpoint;
    adjust(address);
    return std::make_unique<Ipmi::IpmiProvider>(Ipmi::OpenRemote(address), slow);
  }

  std::string Value(const std::string& path) {
    NodeMap nodes;
    const int code = CodeOf([&] { provider->Read(path, nodes); });
    if (code == 0) return nodes.at(path).values.at(0);
    return code == ErrorManager::NoSuchNode ? "(none)" : "failed: " + std::to_string(code);
  }

  std::vector<std::string> Children(const std::string& path) {
    NodeMap nodes;
    provider->Read(path + "/@children", nodes);
    EXPECT_THAT(nodes, SizeIs(1));
    return nodes.at(path).values;
  }

  int Write(const SDK::SettingMap& settings) {
    return CodeOf([&] { provider->Write(settings, false, false); });
  }

  std::map<std::string, SDK::WriteNote> Notes() {
    std::map<std::string, SDK::WriteNote> notes;
    for (const auto& note : provider->TakeWriteNotes()) notes[note.path] = note;
    return notes;
  }

  /// The requests since the last call that change something, `length` characters of each.
  std::vector<std::string> Changes(std::size_t length = 99) {
    std::vector<std::string> changes;
    for (const std::string& request : simulator->TakeRequests()) {
      for (const char* set : {"00 06", "04 12", "06 40", "06 43", "06 45", "06 47", "06 4C",
                              "0C 01", "0C 21", "2C 0A"}) {
        if (request.starts_with(set)) changes.push_back(request.substr(0, length));
      }
    }
    return changes;
  }

  std::unique_ptr<Simulator> simulator;
  std::unique_ptr<Ipmi::IpmiProvider> provider;
};

TEST_F(IpmiProviderTest, AReadKeepsTheContractAndAsksNothingTwice) {
  EXPECT_THAT(Children("/BMC/LAN"), ElementsAre("/BMC/LAN[1]", "/BMC/LAN[2]"));
  EXPECT_THAT(Children("/BMC/SOL/CHANNEL"),
              ElementsAre("/BMC/SOL/CHANNEL[1]", "/BMC/SOL/CHANNEL[2]"));
  EXPECT_THAT(Children("/BMC/USER[3]/CHANNEL"),
              ElementsAre("/BMC/USER[3]/CHANNEL[1]", "/BMC/USER[3]/CHANNEL[2]"));
  EXPECT_THAT(Children("/BMC/PEF/FILTER"), SizeIs(15));
  EXPECT_THAT(Children("/BMC/LAN[1]/ALERT/DESTINATION"), SizeIs(4));
  EXPECT_THAT(
      Children("/BMC/LAN[1]/ALERT/DESTINATION[1]"),
      ElementsAre("/BMC/LAN[1]/ALERT/DESTINATION[1]/IP", "/BMC/LAN[1]/ALERT/DESTINATION[1]/MAC"));
  NodeMap nodes;
  nodes["/BMC/LAN[1]/IP"].values = {"mine"};
  provider->Read("/BMC/LAN[1]", nodes);
  EXPECT_EQ(nodes.at("/BMC/LAN[1]/IP").values.front(), "mine");
  EXPECT_TRUE(nodes.contains("/BMC/LAN[1]"));
  EXPECT_TRUE(nodes.contains("/BMC/LAN[1]/ALERT/DESTINATION[0]/MAC"));
  for (const auto& [path, node] : nodes) EXPECT_THAT(path, StartsWith("/BMC/LAN[1]"));
  provider->Read("/BMC/PEF/FILTER", nodes);
  EXPECT_THAT(nodes.at("/BMC/PEF/FILTER").values, SizeIs(15));
  EXPECT_EQ(nodes.at("/BMC/LAN[1]/ALERT/DESTINATION").values,
            Children("/BMC/LAN[1]/ALERT/DESTINATION"));
  for (const char* path : {"/BMC/PEF/FILTER[13]", "/BMC/LAN[1]/ALERT/DESTINATION[2]",
                           "/BMC/SOL/CHANNEL[1]/BAUDRATESERIAL"}) {
    EXPECT_FALSE(nodes.contains(path)) << "no file has a place for it";
    EXPECT_EQ(CodeOf([&] { provider->Read(path, nodes); }), 0) << path;
    EXPECT_TRUE(nodes.contains(path));
  }
  EXPECT_THAT(Children("/BMC/SOL/CHANNEL[1]"), Contains("/BMC/SOL/CHANNEL[1]/BAUDRATESERIAL"));
  for (const char* path : {"/BMC/LAN[3]/IP", "/BMC/LAN[1]/I", "/BMC/LA", "/BMC/LAN/FAILOVERMODE",
                           "/BMC/LAN[3]/@children", "/BMC/LAN[1]/ALERT/DESTINATION[4]/IP",
                           "/BMC/USER[64]/NAME", "/BIOS/Main"}) {
    NodeMap none;
    EXPECT_EQ(CodeOf([&] { provider->Read(path, none); }), ErrorManager::NoSuchNode) << path;
    EXPECT_THAT(none, IsEmpty());
  }
  provider->Read("/BMC", nodes);
  EXPECT_EQ(Value("/SMBIOS/Type0/BIOSVersion"), "SIM1.2.3.build-0042");
  EXPECT_FALSE(simulator->TakeRequests().empty());
  provider->Read("/BMC", nodes);
  EXPECT_THAT(simulator->TakeRequests(), IsEmpty());
}

TEST_F(IpmiProviderTest, OneChangedValueIsOneWrite) {
  NodeMap nodes;
  provider->Read("/BMC/USER[3]", nodes);
  SDK::SettingMap all;
  for (const auto& [path, node] : nodes) {
    if (!node.options.empty()) all[path] = node.values.front();
  }
  all["/BMC/USER[3]/CHANNEL[2]/PRIVILEGE"] = "User";
  simulator->TakeRequests();
  EXPECT_EQ(Write(all), 0);
  EXPECT_THAT(simulator->TakeRequests(), ElementsAre("06 43 92 03 02 ", "06 44 02 03 "));
  EXPECT_EQ(Value("/BMC/USER[3]/CHANNEL[2]/PRIVILEGE"), "USER");
  EXPECT_EQ(Value("/BMC/USER[3]/CHANNEL[1]/PRIVILEGE"), "OPERATOR");
  EXPECT_THAT(Notes(), IsEmpty());
}

TEST_F(IpmiProviderTest, AWrongValueKeepsTheWholeBatchAndAnEmptyOneItselfFromBeingSent) {
  EXPECT_EQ(Write({{"/BMC/PEF/STATUS", "ENABLE"},
                   {"/BMC/USER[4]/NAME", "a-name-of-17-byte"},
                   {"/BMC/LAN[2]/COMMUNITYSTRING", "two words"}}),
            ErrorManager::ValueRefused);
  EXPECT_THAT(Notes(), SizeIs(2));
  EXPECT_EQ(Write({{"/BMC/USER[3]/STATUS", ""},
                   {"/BMC/LAN[1]/ARPINTERVAL", ""},
                   {"/BMC/LAN[9]/IP", ""},
                   {"/BMC/LAN/FAILOVERMODE", ""}}),
            0);
  EXPECT_THAT(Changes(), IsEmpty());
  EXPECT_EQ(Write({{"/BMC/LAN[2]/COMMUNITYSTRING", ""}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/COMMUNITYSTRING"), "");
}

TEST_F(IpmiProviderTest, WhatIsRefusedOrIgnoredOrUnknownStopsNothingElse) {
  simulator->Misbehave(
      "06 45 04: answer CC\n"
      "0C 01 02 0B: answer 00\n"
      "04 12 07 02: answer CC\n"
      "0C 01 02 00 01: answer 81\n");  // left behind by a writer that has died
  provider->WriteGroup("/BMC/PEF/FILTER[2]", {{"STATUS", "ENABLE"}});
  provider->WriteGroup("/BMC/PEF/FILTER[3]", {{"STATUS", "ENABLE"}, {"", ""}});
  EXPECT_EQ(Write({{"/BMC/USER[4]/NAME", "vier"},
                   {"/BMC/LAN[2]/ARPINTERVAL", "9"},
                   {"/BMC/LAN/FAILOVERMODE", "ENABLE"},
                   {"/BMC/LAN[3]/ARPINTERVAL", "9"},
                   {"/BMC/INFO/VERSION", "1.00"},
                   {"/BMC/LAN[2]/GRATUITOUSARP", "DISABLE"},
                   {"/BMC/PEF/STATUS", "ENABLE"}}),
            ErrorManager::WritesRefused);
  auto notes = Notes();
  EXPECT_THAT(notes, SizeIs(6));
  EXPECT_THAT(notes["/BMC/USER[4]/NAME"].reason, HasSubstr("CCh"));
  EXPECT_EQ(notes["/BMC/LAN[2]/ARPINTERVAL"].fate, Fate::Ignored);
  EXPECT_THAT(notes["/BMC/LAN[2]/ARPINTERVAL"].reason, HasSubstr("and kept another value"));
  EXPECT_THAT(notes["/BMC/LAN/FAILOVERMODE"].reason, HasSubstr("this target has no such setting"));
  EXPECT_THAT(notes["/BMC/LAN[3]/ARPINTERVAL"].reason, HasSubstr("does not have it"));
  EXPECT_THAT(notes["/BMC/INFO/VERSION"].reason, HasSubstr("read-only"));
  EXPECT_THAT(notes["/BMC/PEF/FILTER[2]/STATUS"].reason, HasSubstr("CCh"));
  EXPECT_EQ(Value("/BMC/PEF/STATUS"), "ENABLE");
  EXPECT_EQ(Value("/BMC/PEF/FILTER[3]/STATUS"), "ENABLE");
  EXPECT_EQ(Value("/BMC/LAN[2]/GRATUITOUSARP"), "DISABLE");
  EXPECT_THAT(Changes(), Contains("0C 01 02 00 00 "));
  EXPECT_EQ(Write({}), 0);
  simulator->Misbehave("0C 02 02 0B: answer 00 11 09");  // it was late, and not ignored
  EXPECT_EQ(Value("/BMC/LAN[2]/ARPINTERVAL"), "9") << "whoever reports it looks again";
}

TEST_F(IpmiProviderTest, WhatCanCutTheSessionOffComesLastAndLanSettingsGoTogether) {
  EXPECT_EQ(Write({{"/BMC/USER[2]/CHANNEL[1]/PRIVILEGE", "OPERATOR"},
                   {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", "OPERATOR"},
                   {"/BMC/CHANNEL[2]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", "USER"},
                   {"/BMC/LAN[1]/IPTYPE_STATUS", "ENABLE"},
                   {"/BMC/LAN[1]/ARPINTERVAL", "8"},
                   {"/BMC/USER[4]/NAME", "vier"},
                   {"/BMC/USER[4]/STATUS", "ENABLE"},
                   {"/BMC/USER[4]/CHANNEL[1]/PRIVILEGE", "ADMIN"},
                   {"/BMC/USER[3]/STATUS", "DISABLE"}}),
            0);
  EXPECT_THAT(Changes(11),
              ElementsAre("06 45 04 76", "06 47 04 01", "06 43 91 04",                 // user 4
                          "0C 01 01 00", "0C 01 01 0B", "0C 01 01 00", "0C 01 01 00",  // others
                          "06 40 02 42", "06 40 02 82", "06 47 03 00",                 //
                          "0C 01 01 00", "0C 01 01 04", "0C 01 01 00", "0C 01 01 00",  // own
                          "06 40 01 42", "06 40 01 82", "06 43 91 02"));
  // ipmi_sim ends the sessions of a user that it disables.
  provider = Login(simulator->Port(), 1s);
  const int code =
      Write({{"/BMC/USER[2]/STATUS", "DISABLE"}, {"/BMC/LAN[1]/IPTYPE_STATUS", "DISABLE"}});
  EXPECT_THAT(Changes().back(), StartsWith("06 47 02 00"));
  if (code != 0) {
    EXPECT_EQ(code, ErrorManager::Unreachable);
    EXPECT_THAT(Notes(), SizeIs(1));
  }
}

TEST_F(IpmiProviderTest, Ipv6AddressesFollowTheirSourceAndAddressesStayTheBmcsOwn) {
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6SOURCE"), "STATIC");
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6STATUS", "ENABLE"},
                   {"/BMC/LAN[2]/IP", "192.0.2.77"},
                   {"/BMC/LAN[2]/IPV6", "2001:DB8::77"},
                   {"/BMC/LAN[2]/IPV6PREFIXLENGTH", "56"},
                   {"/BMC/LAN[2]/IPV6_GATEWAYIP", "2001:DB8::1"},
                   {"/BMC/LAN[2]/IPV6SOURCE", "DHCPV6"}}),
            0);
  const auto notes = Notes();
  EXPECT_THAT(notes, SizeIs(4));
  for (const auto& [path, note] : notes) EXPECT_EQ(note.fate, Fate::Skipped) << path;
  EXPECT_THAT(
      simulator->TakeRequests("0C 01 02 38"),
      ElementsAre("0C 01 02 38 00 00 20 01 0D B8 00 00 00 00 00 00 00 00 00 00 00 02 40 00 "));
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::DD02");
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "AUTO"}}), ErrorManager::WritesRefused);
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "STATIC"}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::2");
}

TEST_F(IpmiProviderTest, AHostNameOfSeveralBlocksComesBack) {
  for (const std::string name : {"a-name-that-needs-three-blocks-of-the-bmc", "short"}) {
    EXPECT_EQ(Write({{"/BMC/LAN/DHCP_HOSTNAME", name}}), 0);
    EXPECT_THAT(simulator->TakeRequests("2C 0A"), SizeIs(1 + name.size() / 16));
    EXPECT_EQ(Value("/BMC/LAN/DHCP_HOSTNAME"), name);
  }
}

struct OddAnswer {
  const char* rule;
  const char* path;
  const char* value;    ///< "(none)" when there is no such setting
  const char* warning;  ///< a part of it; empty when there must be none
};

TEST_F(IpmiProviderTest, AnOddAnswerCostsNoMoreThanItsOwnSetting) {
  constexpr const char* kName = "/BMC/USER[4]/NAME";
  constexpr const char* kCommunity = "/BMC/LAN[1]/COMMUNITYSTRING";
  constexpr const char* kInterval = "/BMC/LAN[1]/ARPINTERVAL";
  constexpr const char* kFirmware = "/SMBIOS/Type0/BIOSVersion";
  std::string warnings;
  const auto before = LOGGER::Logger::CreateInstance()->SetSink(
      [&](const LOGGER::LogRecord& record) { warnings += record.text + "\n"; });
  for (const OddAnswer& row : std::to_array<OddAnswer>({
           {"06 46 04: answer CC", kName, "", ""},  // a slot whose name nobody has set
           {"06 46 04: answer 00 66 6F 75", kName, "fou", ""},
           {"06 46 04: answer 00 4D FC 6C", kName, "M%FCl", ""},
           {"06 46 04: answer FF", kName, "N.A.", "NAME is left out"},
           {"0C 02 01 10: answer 00 11 70 75", kCommunity, "pu", ""},
           {"0C 02 01 10: answer 00 11 70 FF 75", kCommunity, "p%FFu", ""},
           {"0C 02 01 10: answer 80", kCommunity, "N.A.", ""},
           {"0C 02 01 0B: answer D6", kInterval, "(none)", ""},
           {"0C 02 01 0B: answer FF", kInterval, "(none)", "ARPINTERVAL is left out: to command "},
           {"0C 02 01 0B: answer D4", kInterval, "(none)", "with 01 0B 00 00, the privilege"},
           {"0C 02 01 0B: answer C0", kInterval, "(none)", "busy (completion code C0h)"},
           {"0C 02 01 0B x2: answer C3", kInterval, "4", ""},
           {"0C 02 01 0B x2: answer CF", kInterval, "4", ""},
           {"0C 02 01 0B x2: answer D2", kInterval, "4", ""},
           {"0C 02 01 0B x2: answer D5", kInterval, "4", ""},
           {"0C 02 01 0B x1: drop", kInterval, "4", ""},
           {"0C 02 01 0D: short 3", "/BMC/LAN[1]/DEFAULTGATEWAYMAC", "(none)",
            "2 bytes in the place of 6"},
           {"06 01: short 5", "/BMC/INFO/VERSION", "(none)", "5 bytes in the place of 11"},
           {"06 59: answer 00 11 00 00 03 42 FC 72", kFirmware, "B\xC3\xBCr", ""},
           {"06 59: answer 00 11 00 01 04 42 C3 BC 72", kFirmware, "B\xC3\xBCr", ""},
           {"06 59: answer 00 11 00 02 04 FC 00 AC 20", kFirmware, "\xC3\xBC\xE2\x82\xAC", ""},
           {"06 59: answer 00 11 00 01 02 42 FC", kFirmware, "(none)", ""},
       })) {
    simulator->Misbehave(row.rule);
    provider = Login(simulator->Port());
    warnings.clear();
    EXPECT_EQ(Value(row.path), row.value) << row.rule;
    EXPECT_THAT(warnings, HasSubstr(row.warning)) << row.rule;
    EXPECT_EQ(warnings.empty(), *row.warning == '\0') << row.rule << warnings;
  }
  simulator->Misbehave("0C: answer C3");  // it is not one setting that it is too busy for
  NodeMap nodes;
  EXPECT_EQ(CodeOf([&] { provider->Read("/BMC/LAN[1]", nodes); }), ErrorManager::Unreachable);
  simulator->TakeRequests();
  EXPECT_EQ(CodeOf([&] { provider->Read("/BMC/PEF", nodes); }), ErrorManager::Unreachable);
  EXPECT_THAT(simulator->TakeRequests(), IsEmpty());
  LOGGER::Logger::CreateInstance()->SetSink(before);
}

struct OddWrite {
  const char* rules;
  SDK::SettingMap settings;
  std::vector<std::string> sent;           ///< 11 characters of each change
  std::map<std::string, Fate> notes = {};  ///< by path
};

TEST_F(IpmiProviderTest, AWriteCopesWithWhatBmcsMakeOfIt) {
  const std::string user = "/BMC/USER[4]/";
  const std::string interval = "/BMC/LAN[2]/ARPINTERVAL";
  const std::string limit = "/BMC/CHANNEL[2]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT";
  const std::vector<std::string> lan = {"0C 01 02 00", "0C 01 02 0B", "0C 01 02 00", "0C 01 02 00"};
  const std::vector<std::string> lanTwice = {lan[0], lan[1], lan[2], lan[3], lan[3]};
  for (const OddWrite& row : {
           OddWrite{"",
                    {{"/BMC/LAN[2]/COMMUNITYSTRING", "N.A."},  // a save could not read them
                     {interval, ""},
                     {"/BMC/USER[5]/NAME", ""},
                     {"/BMC/USER[5]/STATUS", ""}},
                    {},
                    {{"/BMC/LAN[2]/COMMUNITYSTRING", Fate::Skipped},
                     {interval, Fate::Skipped},
                     {"/BMC/USER[5]/NAME", Fate::Skipped},
                     {"/BMC/USER[5]/STATUS", Fate::Skipped}}},
           {"0C 02 02 10: answer 80", {{"/BMC/LAN[2]/COMMUNITYSTRING", "N.A."}}, {}},
           {"0C 02 02 10 x1: answer 00 11 FF",
            {{"/BMC/LAN[2]/COMMUNITYSTRING", ""}},
            {lan[0], "0C 01 02 10", lan[2], lan[3]}},
           {"06 46 04: answer CC",
            {{user + "NAME", "vier"}},
            {"06 45 04 76"},
            {{user + "NAME", Fate::Ignored}}},
           {"06 45 04: answer CC",
            {{user + "NAME", "acht"},
             {user + "STATUS", "ENABLE"},
             {user + "CHANNEL[1]/PRIVILEGE", "ADMIN"}},
            {"06 45 04 61"},
            {{user + "NAME", Fate::Refused},
             {user + "STATUS", Fate::Refused},
             {user + "CHANNEL[1]/PRIVILEGE", Fate::Refused}}},
           {"06 47 04 01 x2: answer C7",
            {{user + "STATUS", "ENABLE"}},
            {"06 47 04 01", "06 47 04 01", "06 47 84 01"}},
           {"", {{user + "NAME", ""}}, {}, {{user + "NAME", Fate::Refused}}},  // it is enabled
           {"",
            {{user + "NAME", ""}, {user + "STATUS", "DISABLE"}},
            {"06 47 04 00", "06 45 04 00"}},
           {"0C 02 02 0B x3: answer 00 11 04", {{interval, "9"}}, lan},  // shown late
           {"0C 01 02 0B x2: answer C0",
            {{interval, "10"}},
            {lan[0], lan[1], lan[1], lan[1], lan[2], lan[3]}},
           {"0C 01 02 00 00 x1: answer FF", {{interval, "11"}}, lanTwice},
           {"0C 01 02 00 00 x6: answer FF",
            {{interval, "12"}},
            {lan[0], lan[1], lan[2], lan[3], lan[3], lan[3], lan[3], lan[3], lan[3]},
            {{interval, Fate::Pending}}},
           {"06 40 02 82: answer CC",
            {{limit, "USER"}},
            {"06 40 02 42", "06 40 02 82"},
            {{limit, Fate::Pending}}},
           {"",  // the last row: nobody logs in as "admin" afterwards
            {{"/BMC/USER[2]/NAME", "root"}, {limit, "OPERATOR"}},
            {"06 40 02 42", "06 40 02 82", "06 45 02 72"}},
       }) {
    simulator->Misbehave(row.rules);
    provider = Login(simulator->Port());
    simulator->TakeRequests();
    const bool isFault = std::ranges::any_of(row.notes, [](const auto& note) {
      return note.second == Fate::Refused || note.second == Fate::Ignored;
    });
    EXPECT_EQ(Write(row.settings), isFault ? int{ErrorManager::WritesRefused} : 0) << row.rules;
    EXPECT_EQ(Changes(11), row.sent) << row.rules;
    std::map<std::string, Fate> notes;
    for (const auto& [path, note] : Notes()) notes[path] = note.fate;
    EXPECT_EQ(notes, row.notes) << row.rules << row.settings.begin()->second;
  }
}

TEST_F(IpmiProviderTest, WhoStopsAWriteLeavesNoChannelInProgress) {
  bool isStopped = false;
  provider = Login(simulator->Port(), 10s, {5s, 5s}, 0, "", [&] {
    if (isStopped) throw std::runtime_error("stopped");
  });
  Value("/BMC/LAN[2]/ARPINTERVAL");
  simulator->Misbehave("0C 01 02 0B: answer C0");
  simulator->TakeRequests();
  isStopped = true;
  EXPECT_THROW(provider->Write({{"/BMC/LAN[2]/ARPINTERVAL", "9"}}, false, false),
               std::runtime_error);
  EXPECT_THAT(Changes(14),
              ElementsAre("0C 01 02 00 01", "0C 01 02 0B 09", "0C 01 02 00 02", "0C 01 02 00 00"));
}

TEST_F(IpmiProviderTest, WhatLocksOutOrOpensAnAccountIsForeseenAndPasswordsComeFirst) {
  using Kind = SDK::WriteForesight::Kind;
  const SDK::SettingMap batch = {
      {"/BMC/USER[2]/NAME", "root"},
      {"/BMC/USER[2]/STATUS", "DISABLE"},
      {"/BMC/USER[2]/CHANNEL[1]/PRIVILEGE", "USER"},
      {"/BMC/USER[2]/CHANNEL[1]/IPMI_AUTHENTICATION", "DISABLE"},
      {"/BMC/USER[2]/CHANNEL[2]/PRIVILEGE", "USER"},  // not the channel of the session
      {"/BMC/USER[3]/NAME", "drei"},
      {"/BMC/USER[4]/NAME", "vier"},
      {"/BMC/USER[4]/STATUS", "ENABLE"},
      {"/BMC/USER[5]/NAME", "shut"},
      {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/ACCESS_MODE", "DISABLED"},
      {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", "OPERATOR"},
      {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/PEF_ALERTING", "DISABLE"},
      {"/BMC/LAN[1]/IPTYPE_STATUS", "ENABLE"},
      {"/BMC/LAN[1]/ARPINTERVAL", "8"},
      {"/BMC/LAN/FAILOVERMODE", "ENABLE"}};
  const std::string password = "seventeen-letters";
  provider->UsePasswords({{"vier", password}, {"five", "unused"}});
  std::map<std::string, Kind> foreseen;
  for (const auto& foresight : provider->Foresee(batch)) {
    foreseen[foresight.path + " " + foresight.account] = foresight.kind;
  }
  EXPECT_EQ(foreseen, (std::map<std::string, Kind>{
                          {"/BMC/USER[2]/NAME root", Kind::LocksOut},
                          {"/BMC/USER[2]/STATUS root", Kind::LocksOut},
                          {"/BMC/USER[2]/CHANNEL[1]/PRIVILEGE root", Kind::LocksOut},
                          {"/BMC/USER[2]/CHANNEL[1]/IPMI_AUTHENTICATION root", Kind::LocksOut},
                          {"/BMC/USER[3]/NAME drei", Kind::NeedsPassword},
                          {"/BMC/USER[4]/STATUS vier", Kind::OpensAccount},
                          {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/ACCESS_MODE ", Kind::LocksOut},
                          {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT ", Kind::LocksOut},
                          {"/BMC/LAN[1]/IPTYPE_STATUS ", Kind::LocksOut},
                          {"/BMC/LAN/FAILOVERMODE ", Kind::Absent}}));
  EXPECT_THAT(Changes(), IsEmpty());
  EXPECT_EQ(CodeOf([&] {
              provider->Foresee({{"/BMC/LAN[1]/ARPINTERVAL", "300"}});
            }),
            ErrorManager::ValueRefused);
  const SDK::SettingMap opening = {{"/BMC/USER[4]/NAME", "vier"},
                                   {"/BMC/USER[4]/STATUS", "ENABLE"}};
  EXPECT_EQ(Write(opening), 0);
  EXPECT_THAT(Changes(14), ElementsAre("06 45 04 76 69", "06 47 84 02 73", "06 47 04 01 "));
  simulator->Misbehave("06 47 05 02: answer CC");
  EXPECT_EQ(Write({{"/BMC/USER[5]/STATUS", "ENABLE"}}), ErrorManager::WritesRefused);
  EXPECT_THAT(Changes(11), ElementsAre("06 47 05 02"));
}

TEST_F(IpmiProviderTest, RestartsGentlyAndResetsOnlyWhereItMay) {
  const std::string take = "00 02: answer 00\n";
  const std::string on = "00 01: answer 00 01 00 00\n";
  const std::string off = "00 01: answer 00 00 00 00\n";
  const std::string ends = "00 01 x1: answer 00 01 00 00\n00 01 x1: answer 00 00 00 00\n";
  const std::tuple<std::string, bool, const char*> rows[] = {
      {take + ends + on, false, "05 01 done"},
      {take + on, false, "05 failed"},
      {take + on, true, "05 03 done"},
      {"00 02 05: answer CC\n" + take + on, true, "05 03 done"},
      {"00 02: answer D4\n", true, "05 03 failed"},
      {take + off, false, "05 01 failed"},
  };
  for (const auto& [rules, mayForce, course] : rows) {
    simulator->Misbehave(rules);
    simulator->TakeRequests();
    const int code = CodeOf([&, force = mayForce] { provider->Restart(force, 1s); });
    std::string seen;
    for (const std::string& control : simulator->TakeRequests("00 02")) {
      seen += control.substr(6, 2) + " ";
    }
    EXPECT_EQ(seen + (code == 0 ? "done" : "failed"), course) << rules;
  }
}

TEST_F(IpmiProviderTest, ALoginSurvivesALostOrDoubledDatagram) {
  for (unsigned at = 1; at <= 10; ++at) {
    for (const unsigned copies : {0U, 2U}) {
      Relay relay(simulator->Port(),
                  [&](unsigned number, auto) { return number == at ? copies : 1; });
      EXPECT_EQ(CodeOf([&] { provider = Login(relay.Port(), 3s); }), 0) << at << " x" << copies;
      EXPECT_EQ(Value("/BMC/PEF/STATUS"), "DISABLE") << at << " x" << copies;
    }
  }
}

TEST_F(IpmiProviderTest, TheLoginTriesOneSuiteAfterTheOtherAndTakesTheKeyOfTheBmc) {
  struct Row {
    std::uint8_t suite;       ///< that was asked for
    std::set<char> silent;    ///< to which algorithms the BMC says nothing
    std::vector<char> tried;  ///< IPMI 2.0, table 13-17: 3 is suite 17, 1 is suite 3, 2 is 8 and 12
    int code = 0;
  };
  const auto login = [](std::uint16_t port, const Row& row, const std::string& key = "") {
    return CodeOf([&] { static_cast<void>(Login(port, 1200ms, {}, row.suite, key)); });
  };
  for (const Row& row :
       {Row{0, {}, {3, 1}},  // it refuses the first
        Row{0, {3}, {3, 1}}, Row{3, {3}, {1}}, Row{17, {3}, {3}, ErrorManager::Unreachable},
        Row{0, {1, 3}, {3, 1, 3, 1, 3, 1, 3, 1}, ErrorManager::Unreachable}}) {
    std::vector<char> tried;
    int asked = 0;
    {
      Relay relay(simulator->Port(), [&](unsigned /*number*/, std::string_view datagram) {
        if (OpenedBy(datagram).empty()) return 1U;
        const char algorithm = datagram[28];
        asked += static_cast<int>(algorithm == 3);
        // What is sent again is of the same try.
        if (tried.empty() || tried.back() != algorithm) tried.push_back(algorithm);
        return row.silent.contains(algorithm) ? 0U : 1U;
      });
      EXPECT_EQ(login(relay.Port(), row), row.code);
    }
    EXPECT_EQ(tried, row.tried) << int{row.suite};
    EXPECT_LT(asked, 20) << "a silent suite has a part of the patience";
  }
  std::set<std::string> tries;
  {
    Relay relay(simulator->Port(), [&](unsigned /*number*/, std::string_view datagram) {
      if (!OpenedBy(datagram).empty()) tries.emplace(OpenedBy(datagram));
      const bool isRakp3 = datagram.size() > 16 && datagram[4] == 6 && datagram[5] == 0x14;
      return isRakp3 ? 0U : 1U;
    });
    EXPECT_EQ(CodeOf([&] { static_cast<void>(Login(relay.Port(), 600ms, {}, 3)); }),
              ErrorManager::Unreachable);
  }
  EXPECT_THAT(tries, SizeIs(4)) << "a BMC that says something gets some tries, but not for ever";
  Simulator keyed(PathOf("keyed"), Simulator::Commands::All, "    bmc_key \"a-key-of-the-BMC\"\n");
  EXPECT_EQ(login(keyed.Port(), {}), ErrorManager::LoginRefused);
  EXPECT_EQ(login(keyed.Port(), {}, "another-key"), ErrorManager::LoginRefused);
  EXPECT_EQ(login(keyed.Port(), {}, "a-key-of-the-BMC"), 0);
}

TEST_F(IpmiProviderTest, PausesAndLostDatagramsCostTimeOnly) {
  const auto save = [&](const std::string& name) {
    SDK::SaveRestore().Save(Options(PathOf(name), 1));
    return ReadText(PathOf(name));
  };
  Mount(std::move(provider));
  const std::string direct = save("direct.ini");
  EXPECT_THAT(direct, HasSubstr("UserName=oper"));
  EXPECT_THAT(simulator->TakeRequests(), SizeIs(95)) << "what the file needs, and no more";
  Relay relay(simulator->Port(), [](unsigned number, auto) { return number % 10 == 0 ? 0 : 1; });
  std::shared_ptr<Ipmi::IpmiProvider> lossy = Login(relay.Port(), 1500ms);
  std::this_thread::sleep_for(800ms);
  Mount(lossy);
  EXPECT_EQ(save("lossy.ini"), direct);
  EXPECT_GT(relay.Requests(), 110U);  // some of them again
}

TEST_F(IpmiProviderTest, SlowAnswersAreAskedForSeveralAtATimeAndTroubleEndsThat) {
  struct Row {
    const char* rules;
    std::size_t logins = 4;
    unsigned lost = 0;    ///< the login of which the network loses a datagram, counted from 1
    bool isWhole = true;  ///< all is asked ahead
    const char* workaround = "";
    std::size_t others = 0;  ///< sessions of others
  };
  std::vector<std::unique_ptr<Ipmi::IpmiProvider>> others;
  std::string warnings;
  const auto before = LOGGER::Logger::CreateInstance()->SetSink(
      [&](const LOGGER::LogRecord& record) { warnings += record.text + "\n"; });
  const auto save = [&] {
    SDK::SaveRestore().Save(Options(PathOf("x.ini"), 1));
    return ReadText(PathOf("x.ini")) + std::exchange(warnings, {});
  };
  const std::vector<std::string> all = {"BMC", "SMBIOS"};
  for (const Row& row : {
           Row{""},
           Row{"06 59: answer C1"},  // absent is no trouble
           Row{"", 1, 0, false, "onesession"},
           Row{"0C 02 01 0B: answer FF", 4, 0, false},
           Row{"0C 02 01 0B: answer D4", 4, 0, false},
           Row{"0C 02 01 0B x1: answer C0", 4, 0, false},
           Row{"04 13 x1: drop", 4, 0, false},
           Row{"", 4, 3},
           Row{"", 2, 0, true, "", 59},  // of 63 sessions one is left to others
           Row{"", 1, 0, false, "", 60},
       }) {
    while (others.size() < row.others) {
      others.push_back(Login(simulator->Port(), 10s, {600ms, 1s}, 3));
    }
    Mount(std::shared_ptr(Login(simulator->Port(), 10s, {600ms, 1s}, 3)));
    simulator->Misbehave(row.rules);
    const std::string direct = save();
    std::set<std::string> logins;
    std::string lost;
    Relay relay(
        simulator->Port(),
        [&](unsigned /*number*/, std::string_view datagram) {
          if (OpenedBy(datagram).empty()) return 1U;
          const std::string login(OpenedBy(datagram));
          if (logins.insert(login).second && logins.size() == row.lost) lost = login;
          return login == lost ? 0U : 1U;
        },
        3ms);
    std::shared_ptr<Ipmi::IpmiProvider> slow = Login(
        relay.Port(), 10s, {600ms, 1s}, 3, "", [] {},
        [&](Ipmi::RemoteAddress& address) {
          address.workarounds.emplace_back(row.workaround);
          address.resendAfter = 1s;  // later is trouble
        });
    Mount(slow);
    simulator->Misbehave(row.rules);
    slow->Expect(all);
    EXPECT_THAT(warnings, IsEmpty()) << row.rules;
    EXPECT_EQ(logins.size(), row.logins) << row.rules;
    simulator->TakeRequests();
    EXPECT_EQ(save(), direct) << row.rules;
    EXPECT_EQ(simulator->TakeRequests().empty(), row.isWhole) << row.rules;
    slow->Expect(all);
    EXPECT_THAT(simulator->TakeRequests(), IsEmpty());
    SDK::XDirectorImpl::CreateInstance()->UnmountAll();  // it logs out while there is a relay
  }
  LOGGER::Logger::CreateInstance()->SetSink(before);
}

TEST_F(IpmiProviderTest, ALostSessionFailsAtOnceAndNamesWhatWasNotSent) {
  provider = Login(simulator->Port(), 600ms);
  EXPECT_EQ(Value("/BMC/USER[4]/NAME"), "four");
  EXPECT_EQ(Value("/BMC/PEF/STATUS"), "DISABLE");
  simulator->Misbehave("06 45: exit");
  EXPECT_EQ(Write({{"/BMC/PEF/STATUS", "ENABLE"},
                   {"/BMC/USER[4]/NAME", "vier"},
                   {"/BMC/USER[4]/STATUS", "ENABLE"}}),
            ErrorManager::Unreachable);
  auto notes = Notes();
  EXPECT_THAT(notes, SizeIs(2));
  EXPECT_THAT(notes["/BMC/USER[4]/NAME"].reason, HasSubstr("while it was written"));
  EXPECT_THAT(notes["/BMC/USER[4]/STATUS"].reason, HasSubstr("not sent"));
  NodeMap nodes;
  EXPECT_EQ(CodeOf([&] { provider->Read("/BMC/LAN", nodes); }), ErrorManager::Unreachable);
}

}  // namespace
}  // namespace Test
