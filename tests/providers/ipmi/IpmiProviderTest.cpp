// The IPMI back end over a BMC that answers by a script, and over ipmi_sim.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <map>
#include <thread>

#include "Simulator.h"
#include "common/ErrorManager.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using Ipmi::Answer;
using Ipmi::Bytes;
using Ipmi::Request;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

/// Answers from a table, and C1h (no such command) to everything else.
class ScriptedBmc final : public Ipmi::Transport {
 public:
  explicit ScriptedBmc(std::map<Request, std::deque<Answer>> script) : script_(std::move(script)) {}

  Answer Send(const Request& request) override {
    const auto answers = script_.find(request);
    if (answers == script_.end()) return {0xC1, {}};
    Answer answer = answers->second.front();
    if (answers->second.size() > 1) answers->second.pop_front();
    return answer;
  }
  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] const std::string& User() const override { return user_; }
  [[nodiscard]] bool IsRemote() const override { return true; }

 private:
  std::map<Request, std::deque<Answer>> script_;
  std::string name_ = "scripted";
  std::string user_ = "admin";
};

int CodeOfVersion(std::deque<Answer> answers) {
  Ipmi::IpmiProvider provider(std::make_unique<ScriptedBmc>(
      std::map<Request, std::deque<Answer>>{{Request{{0x06, 0x01}, {}}, std::move(answers)}}));
  NodeMap nodes;
  return CodeOf([&] { provider.Read("/BMC/INFO/VERSION", nodes); });
}

TEST(IpmiAnswerTest, OnlyADenialMakesASettingAbsent) {
  const Bytes device = {0x20, 1, 9, 8, 2, 0x9F, 0x91, 0x12, 0, 2, 0x0F};
  EXPECT_EQ(CodeOfVersion({{0x00, device}}), 0);
  EXPECT_EQ(CodeOfVersion({{0xC0, {}}, {0xC3, {}}, {0x00, device}}), 0);  // busy, then not
  for (const std::uint8_t denial : Bytes{0xC1, 0xC9, 0xCB, 0xCC, 0xCD, 0xD6, 0x80}) {
    EXPECT_EQ(CodeOfVersion({{denial, {}}}), ErrorManager::NoSuchNode) << int{denial};
  }
  for (const std::uint8_t failure : Bytes{0xFF, 0xD2, 0xCE, 0x8F}) {
    EXPECT_EQ(CodeOfVersion({{failure, {}}}), ErrorManager::BadAnswer) << int{failure};
  }
  EXPECT_EQ(CodeOfVersion({{0xD4, {}}}), ErrorManager::NotPermitted);
  EXPECT_EQ(CodeOfVersion({{0xC0, {}}}), ErrorManager::Unreachable);
  EXPECT_EQ(CodeOfVersion({{0x00, {0x20, 1}}}), ErrorManager::BadAnswer);
}

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
    if (!Simulator::IsInstalled()) {
      ASSERT_EQ(std::getenv("SAVERESTORE_REQUIRE_SIMULATOR"), nullptr) << "ipmi_sim is missing";
      GTEST_SKIP() << "ipmi_sim is not installed";
    }
    simulator = std::make_unique<Simulator>(PathOf("sim"), Simulator::Commands::All);
    provider = Login(simulator->Port());
    simulator->TakeRequests();
  }

  static std::unique_ptr<Ipmi::IpmiProvider> Login(
      std::uint16_t port, std::chrono::milliseconds patience = std::chrono::seconds(10)) {
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
    provider->Read(path, nodes);
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

  /// The requests since the last call that change something.
  std::vector<std::string> Changes() {
    std::vector<std::string> changes;
    for (const std::string& request : simulator->TakeRequests()) {
      for (const char* set : {"00 06", "04 12", "06 40", "06 43", "06 45", "06 47", "06 4C",
                              "0C 01", "0C 21", "2C 0A"}) {
        if (request.starts_with(set)) changes.push_back(request);
      }
    }
    return changes;
  }

  std::unique_ptr<Simulator> simulator;
  std::unique_ptr<Ipmi::IpmiProvider> provider;
};

TEST_F(IpmiProviderTest, CollectionsListWhatTheBmcHas) {
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
}

TEST_F(IpmiProviderTest, AReadKeepsTheContract) {
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
}

TEST_F(IpmiProviderTest, NothingIsAskedTwice) {
  NodeMap nodes;
  provider->Read("/BMC", nodes);
  provider->Read("/SMBIOS/Type0/BIOSVersion", nodes);
  EXPECT_EQ(nodes.at("/SMBIOS/Type0/BIOSVersion").values.front(), "SIM1.2.3.build-0042");
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
  EXPECT_THAT(provider->TakeWriteNotes(), IsEmpty());
}

TEST_F(IpmiProviderTest, AWrongValueKeepsTheWholeBatchFromBeingSent) {
  EXPECT_EQ(Write({{"/BMC/PEF/STATUS", "ENABLE"},
                   {"/BMC/USER[4]/NAME", "a-name-of-17-byte"},
                   {"/BMC/LAN[2]/COMMUNITYSTRING", "two words"}}),
            ErrorManager::ValueRefused);
  EXPECT_THAT(Changes(), IsEmpty());
  EXPECT_THAT(provider->TakeWriteNotes(), SizeIs(2));
}

TEST_F(IpmiProviderTest, AnEmptyValueIsNoneWhereNothingCanBeEmpty) {
  EXPECT_EQ(Write({{"/BMC/USER[3]/NAME", ""},
                   {"/BMC/USER[3]/STATUS", ""},
                   {"/BMC/LAN[1]/IP", ""},
                   {"/BMC/LAN[9]/IP", ""},
                   {"/BMC/LAN/FAILOVERMODE", ""}}),
            0);
  EXPECT_THAT(Changes(), IsEmpty());
  EXPECT_EQ(Write({{"/BMC/LAN[2]/COMMUNITYSTRING", ""}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/COMMUNITYSTRING"), "");
}

TEST_F(IpmiProviderTest, WhatIsRefusedOrIgnoredOrUnknownStopsNothingElse) {
  simulator->Misbehave("refuse 204 06 45 04\nignore 0 0C 01 02 0B\n");
  EXPECT_EQ(Write({{"/BMC/USER[4]/NAME", "vier"},
                   {"/BMC/LAN[2]/ARPINTERVAL", "9"},
                   {"/BMC/LAN/FAILOVERMODE", "ENABLE"},
                   {"/BMC/LAN[3]/IP", "192.0.2.9"},
                   {"/BMC/INFO/VERSION", "1.00"},
                   {"/BMC/LAN[2]/GRATUITOUSARP", "DISABLE"},
                   {"/BMC/PEF/STATUS", "ENABLE"}}),
            ErrorManager::WritesRefused);
  std::map<std::string, SDK::WriteNote> notes;
  for (const auto& note : provider->TakeWriteNotes()) notes[note.path] = note;
  EXPECT_THAT(notes, SizeIs(5));
  EXPECT_THAT(notes["/BMC/USER[4]/NAME"].reason, HasSubstr("CCh"));
  EXPECT_EQ(notes["/BMC/LAN[2]/ARPINTERVAL"].fate, SDK::WriteNote::Fate::Ignored);
  EXPECT_THAT(notes["/BMC/LAN/FAILOVERMODE"].reason, HasSubstr("no standard command"));
  EXPECT_THAT(notes["/BMC/LAN[3]/IP"].reason, HasSubstr("does not have it"));
  EXPECT_THAT(notes["/BMC/INFO/VERSION"].reason, HasSubstr("read-only"));
  EXPECT_EQ(Value("/BMC/PEF/STATUS"), "ENABLE");
  EXPECT_EQ(Value("/BMC/LAN[2]/GRATUITOUSARP"), "DISABLE");
}

TEST_F(IpmiProviderTest, ARefusedGroupIsRaisedWithTheNextBatch) {
  simulator->Misbehave("refuse 204 04 12 07 02\n");
  provider->WriteGroup("/BMC/PEF/FILTER[2]", {{"STATUS", "ENABLE"}});
  provider->WriteGroup("/BMC/LAN[1]/ALERT/DESTINATION[0]", {{"IP", "nonsense"}});
  provider->WriteGroup("/BMC/PEF/FILTER[3]", {{"STATUS", "ENABLE"}, {"", ""}});
  EXPECT_EQ(Value("/BMC/PEF/FILTER[3]/STATUS"), "ENABLE");
  EXPECT_EQ(Write({}), ErrorManager::WritesRefused);
  EXPECT_THAT(provider->TakeWriteNotes(), SizeIs(2));
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
  std::vector<std::string> heads;
  for (const std::string& change : Changes()) heads.push_back(change.substr(0, 11));
  EXPECT_THAT(heads, ElementsAre("06 45 04 76", "06 47 04 01", "06 43 91 04",  // user 4
                                 "0C 01 01 00", "0C 01 01 0B", "0C 01 01 00", "0C 01 01 00",
                                 "06 40 02 42", "06 47 03 00",  // others
                                 "06 43 91 02", "06 40 01 42",  // own
                                 "0C 01 01 00", "0C 01 01 03", "0C 01 01 06", "0C 01 01 00",
                                 "0C 01 01 00"));
}

TEST_F(IpmiProviderTest, DisablingTheOwnAccountIsTheVeryLastWrite) {
  // ipmi_sim ends the sessions of a user that it disables.
  const int code = Write({{"/BMC/USER[2]/STATUS", "DISABLE"},
                          {"/BMC/LAN[1]/IP", "192.0.2.10"},
                          {"/BMC/PEF/STATUS", "ENABLE"}});
  EXPECT_THAT(Changes().back(), StartsWith("06 47 02 00"));
  if (code != 0) {
    EXPECT_EQ(code, ErrorManager::Unreachable);
    EXPECT_THAT(provider->TakeWriteNotes(), SizeIs(1));
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
  EXPECT_THAT(provider->TakeWriteNotes(), SizeIs(2));
  EXPECT_EQ(Write({{"/BMC/LAN[2]/IPV6SOURCE", "STATIC"}, {"/BMC/LAN[2]/IPV6", "2001:DB8::78"}}), 0);
  EXPECT_EQ(Value("/BMC/LAN[2]/IPV6"), "2001:DB8::78");
}

TEST_F(IpmiProviderTest, AHostNameOfSeveralBlocksComesBack) {
  const std::string name = "a-name-that-needs-three-blocks-of-the-bmc";
  EXPECT_EQ(Write({{"/BMC/LAN/DHCP_HOSTNAME", name}}), 0);
  EXPECT_THAT(simulator->TakeRequests("2C 0A"), SizeIs(3));
  EXPECT_EQ(Value("/BMC/LAN/DHCP_HOSTNAME"), name);
  EXPECT_EQ(Write({{"/BMC/LAN/DHCP_HOSTNAME", "short"}}), 0);
  EXPECT_EQ(Value("/BMC/LAN/DHCP_HOSTNAME"), "short");
}

TEST_F(IpmiProviderTest, AConfigurationThatADeadWriterLeftOpenIsTakenOver) {
  simulator->Misbehave("refuse 129 0C 01 02 00 01\n");
  EXPECT_EQ(Write({{"/BMC/LAN[2]/ARPINTERVAL", "9"}}), 0);
  EXPECT_THAT(simulator->TakeRequests("0C 01 02"), Contains("0C 01 02 00 00 "));
  EXPECT_EQ(Value("/BMC/LAN[2]/ARPINTERVAL"), "9");
}

TEST_F(IpmiProviderTest, APauseDoesNotEndTheSession) {
  provider = Login(simulator->Port(), std::chrono::seconds(1));
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  NodeMap nodes;
  EXPECT_EQ(CodeOf([&] { provider->Read("/BMC/INFO/VERSION", nodes); }), 0);
}

TEST_F(IpmiProviderTest, LostDatagramsCostTimeOnly) {
  const auto save = [&](const std::string& name) {
    SDK::SaveRestore().Save(Options(PathOf(name), 1));
    return ReadText(PathOf(name));
  };
  Mount(std::move(provider));
  const std::string direct = save("direct.ini");
  EXPECT_THAT(direct, HasSubstr("UserName=oper"));
  Relay relay(simulator->Port(), 10);
  Mount(Login(relay.Port(), std::chrono::seconds(2)));
  simulator->TakeRequests();
  EXPECT_EQ(save("lossy.ini"), direct);
  EXPECT_GT(relay.Requests(), 110U);  // some of them again
}

TEST_F(IpmiProviderTest, ALostSessionFailsAtOnceAndNamesWhatWasNotSent) {
  provider = Login(simulator->Port(), std::chrono::milliseconds(600));
  NodeMap nodes;
  provider->Read("/BMC/USER[4]", nodes);
  provider->Read("/BMC/PEF/STATUS", nodes);
  simulator->Misbehave("die 0 06 45\n");
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{"/BMC/PEF/STATUS", "ENABLE"},
                               {"/BMC/USER[4]/NAME", "vier"},
                               {"/BMC/USER[4]/STATUS", "ENABLE"}},
                              false, false);
            }),
            ErrorManager::Unreachable);
  const std::vector<SDK::WriteNote> notes = provider->TakeWriteNotes();
  ASSERT_THAT(notes, SizeIs(2));
  EXPECT_THAT(notes[0].reason, HasSubstr("while it was written"));
  EXPECT_THAT(notes[1].reason, HasSubstr("not sent"));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(CodeOf([&] { provider->Read("/BMC/LAN", nodes); }), ErrorManager::Unreachable);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(100));
}

}  // namespace
}  // namespace Test
