// The IPMI back end over ipmi_sim.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <thread>

#include "Simulator.h"
#include "common/ErrorManager.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
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

class IpmiLocalTest : public EngineTest {};

TEST_F(IpmiLocalTest, AMissingDeviceNamesTheModulesAndAForbiddenOneThePermission) {
  const auto messageOf = [](const std::string& device, int code) {
    try {
      static_cast<void>(Ipmi::OpenLocal(device));
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

/// A provider that is logged in to a simulated BMC with all commands.
class IpmiProviderTest : public EngineTest {
 protected:
  void SetUp() override {
    if (!Simulator::IsUsable()) GTEST_SKIP() << "ipmi_sim is not installed";
    simulator = std::make_unique<Simulator>(PathOf("sim"), Simulator::Commands::All);
    provider = Login(simulator->Port());
    simulator->TakeRequests();
  }

  static std::unique_ptr<Ipmi::IpmiProvider> Login(std::uint16_t port,
                                                   std::chrono::milliseconds patience = 10s) {
    Ipmi::RemoteAddress address;
    address.host = "127.0.0.1:" + std::to_string(port);
    address.user = "admin";
    address.password = "secret";
    address.workarounds = {"opensesspriv"};
    address.patience = patience;
    address.resendAfter = patience / 10;
    return std::make_unique<Ipmi::IpmiProvider>(Ipmi::OpenRemote(address));
  }

  std::string Value(const std::string& path) {
    NodeMap nodes;
    if (CodeOf([&] { provider->Read(path, nodes); }) == ErrorManager::NoSuchNode) return "(none)";
    return nodes.at(path).values.at(0);
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
  EXPECT_EQ(Write(all), 0);
  EXPECT_THAT(Changes(), ElementsAre("06 43 92 03 02 "));
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
  EXPECT_EQ(notes["/BMC/LAN[2]/ARPINTERVAL"].fate, SDK::WriteNote::Fate::Ignored);
  EXPECT_THAT(notes["/BMC/LAN/FAILOVERMODE"].reason, HasSubstr("no standard command"));
  EXPECT_THAT(notes["/BMC/LAN[3]/ARPINTERVAL"].reason, HasSubstr("does not have it"));
  EXPECT_THAT(notes["/BMC/INFO/VERSION"].reason, HasSubstr("read-only"));
  EXPECT_THAT(notes["/BMC/PEF/FILTER[2]/STATUS"].reason, HasSubstr("CCh"));
  EXPECT_EQ(Value("/BMC/PEF/STATUS"), "ENABLE");
  EXPECT_EQ(Value("/BMC/PEF/FILTER[3]/STATUS"), "ENABLE");
  EXPECT_EQ(Value("/BMC/LAN[2]/GRATUITOUSARP"), "DISABLE");
  EXPECT_THAT(Changes(), Contains("0C 01 02 00 00 "));
  EXPECT_EQ(Write({}), 0);
}

TEST_F(IpmiProviderTest, WhatCanCutTheSessionOffComesLastAndLanSettingsGoTogether) {
  EXPECT_EQ(Write({{"/BMC/USER[2]/CHANNEL[1]/PRIVILEGE", "OPERATOR"},
                   {"/BMC/CHANNEL[1]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", "OPERATOR"},
                   {"/BMC/CHANNEL[2]/NONVOLATILE/ACCESS/PRIVILEGE_LIMIT", "USER"},
                   {"/BMC/LAN[1]/SUBNETMASK", "255.255.255.0"},
                   {"/BMC/LAN[1]/IP", "192.0.2.10"},
                   {"/BMC/LAN[1]/ARPINTERVAL", "8"},
                   {"/BMC/USER[4]/NAME", "vier"},
                   {"/BMC/USER[4]/STATUS", "ENABLE"},
                   {"/BMC/USER[4]/CHANNEL[1]/PRIVILEGE", "ADMIN"},
                   {"/BMC/USER[3]/STATUS", "DISABLE"}}),
            0);
  EXPECT_THAT(Changes(11), ElementsAre("06 45 04 76", "06 47 04 01", "06 43 91 04",  // user 4
                                       "0C 01 01 00", "0C 01 01 0B", "0C 01 01 00", "0C 01 01 00",
                                       "06 40 02 42", "06 47 03 00",  // others
                                       "06 43 91 02", "06 40 01 42",  // own
                                       "0C 01 01 00", "0C 01 01 03", "0C 01 01 06", "0C 01 01 00",
                                       "0C 01 01 00"));
  // ipmi_sim ends the sessions of a user that it disables.
  const int code = Write({{"/BMC/USER[2]/STATUS", "DISABLE"}, {"/BMC/PEF/STATUS", "ENABLE"}});
  EXPECT_THAT(Changes().back(), StartsWith("06 47 02 00"));
  if (code != 0) {
    EXPECT_EQ(code, ErrorManager::Unreachable);
    EXPECT_THAT(Notes(), SizeIs(1));
  }
}

TEST_F(IpmiProviderTest, Ipv6AddressesFollowTheirSource) {
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6SOURCE"), "STATIC");
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6STATUS", "ENABLE"},
                   {"/BMC/LAN[2]/IPV6", "2001:DB8::77"},
                   {"/BMC/LAN[2]/IPV6PREFIXLENGTH", "56"}}),
            0);
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::77");
  EXPECT_THAT(simulator->TakeRequests("0C 01 02 38"), SizeIs(1));
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "DHCPV6"}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::DD02");
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "AUTO"}, {"/BMC/LAN[2]/IPV6", "2001:DB8::78"}}),
            ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), SizeIs(2));
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "STATIC"}, {"/BMC/LAN[2]/IPV6", "2001:DB8::78"}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::78");
}

TEST_F(IpmiProviderTest, AHostNameOfSeveralBlocksComesBack) {
  for (const std::string name : {"a-name-that-needs-three-blocks-of-the-bmc", "short"}) {
    EXPECT_EQ(Write({{"/BMC/LAN/DHCP_HOSTNAME", name}}), 0);
    EXPECT_THAT(simulator->TakeRequests("2C 0A"), SizeIs(1 + name.size() / 16));
    EXPECT_EQ(Value("/BMC/LAN/DHCP_HOSTNAME"), name);
  }
}

TEST_F(IpmiProviderTest, PausesAndLostDatagramsCostTimeOnly) {
  const auto save = [&](const std::string& name) {
    SDK::SaveRestore().Save(Options(PathOf(name), 1));
    return ReadText(PathOf(name));
  };
  Mount(std::move(provider));
  const std::string direct = save("direct.ini");
  EXPECT_THAT(direct, HasSubstr("UserName=oper"));
  Relay relay(simulator->Port(), [](unsigned number) { return number % 10 == 0 ? 0 : 1; });
  std::shared_ptr<Ipmi::IpmiProvider> lossy = Login(relay.Port(), 2s);
  std::this_thread::sleep_for(1200ms);
  Mount(lossy);
  EXPECT_EQ(save("lossy.ini"), direct);
  EXPECT_GT(relay.Requests(), 110U);  // some of them again
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
