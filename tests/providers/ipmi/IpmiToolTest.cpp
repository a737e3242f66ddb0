// The tool against a simulated BMC: files, messages and exit codes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <sstream>

#include "Simulator.h"
#include "support/TestEngine.h"
#include "tool/ToolFixture.h"

namespace Test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// The value of a key as its line has it, without the comment.
std::string Line(const std::string& text, const std::string& section, const std::string& key) {
  const std::size_t from = text.find("[" + section + "]");
  const std::size_t at = text.find("\n" + key + "=", from);
  if (from == std::string::npos || at == std::string::npos) return "(none)";
  const std::size_t value = at + key.size() + 2;
  return text.substr(value, text.find_first_of("\t\n", value) - value);
}

class IpmiToolTest : public ToolTest {
 protected:
  void Start(Simulator::Commands commands) {
    if (!Simulator::IsInstalled()) {
      ASSERT_EQ(std::getenv("SAVERESTORE_REQUIRE_SIMULATOR"), nullptr) << "ipmi_sim is missing";
      GTEST_SKIP() << "ipmi_sim is not installed";
    }
    simulator = std::make_unique<Simulator>(PathOf("sim"), commands);
    port = simulator->Port();
    WriteText(PathOf("pw"), "secret\n");
  }

  [[nodiscard]] Outcome Run(const std::string& arguments, const std::string& user = "admin") const {
    return ToolTest::Run("--target ipmi:" + user + "@127.0.0.1:" + std::to_string(port) +
                         " --bmc-password-file pw --ipmi-workaround opensesspriv " + arguments);
  }

  /// What an independent client reads.
  [[nodiscard]] std::string Ipmitool(const std::string& command) const {
    return Shell("ipmitool -I lanplus -C 3 -H 127.0.0.1 -p " + std::to_string(simulator->Port()) +
                 " -U admin -P secret " + command)
        .out;
  }

  /// Saves, and changes keys in the file.
  struct Edit {
    const char* section;
    const char* key;
    const char* value;
  };
  void SaveEdited(const std::string& file, const std::vector<Edit>& edits) {
    ASSERT_EQ(Run("save " + file).exitCode, 0);
    std::string text = ReadText(PathOf(file));
    for (const Edit& edit : edits) {
      const std::size_t from = text.find("[" + std::string(edit.section) + "]");
      const std::size_t at = text.find("\n" + std::string(edit.key) + "=", from);
      ASSERT_NE(at, std::string::npos) << edit.section << edit.key;
      const std::size_t value = at + std::string(edit.key).size() + 2;
      text.replace(value, text.find_first_of("\t\n", value) - value, edit.value);
    }
    WriteText(PathOf(file), text);
  }

  std::unique_ptr<Simulator> simulator;
  std::uint16_t port = 0;
};

TEST_F(IpmiToolTest, WhatIsEditedIsRestoredAndNothingElseChanges) {
  Start(Simulator::Commands::All);
  if (IsSkipped() || HasFatalFailure()) return;
  SaveEdited("x.ini", {{"POWER", "PowerRestorePolicy", "ON"},
                       {"USERS::USER3", "SOLEnableCh1", "ENABLE"},
                       {"USERS::USER4", "UserName", "Vier"},
                       {"USERS::USER4", "GlobalUserStatus", "ENABLE"},
                       {"USERS::USER4", "PrivilegeChl2", "NOACCESS"},
                       {"USERS::USER4", "UserAccessCh2", "DISABLE"},
                       {"PEF", "PEFEnable", "ENABLE"},
                       {"PEF::FILTERS", "Filter3", "ENABLE"},
                       {"LANCHANNELS", "DHCPHostName", "Rack-7.bmc"},
                       {"CHANNEL::LAN1", "AlertIP1", "192.0.2.77"},
                       {"CHANNEL::LAN1", "AlertMAC1", "00-00-5E-00-53-AA"},
                       {"CHANNEL::LAN1", "IPV6Source", "DHCPV6"},
                       {"CHANNEL::LAN2", "AlertEnable", "DISABLE"},
                       {"CHANNEL::LAN2", "AccessMode", "SHARED"},
                       {"CHANNEL::LAN2", "PrivilegeLevelLimit", "OPERATOR"},
                       {"CHANNEL::LAN2", "CommunityString", "Secret-7"},
                       {"CHANNEL::LAN2", "ARPEnable", "DISABLE"},
                       {"CHANNEL::LAN2", "ARPInterval", "9"},
                       {"CHANNEL::LAN2", "DHCPEnable", "ENABLE"},
                       {"CHANNEL::LAN2", "GatewayMAC", "00-00-5E-00-53-99"},
                       {"CHANNEL::LAN1::SOL", "SOLEnable", "DISABLE"},
                       {"CHANNEL::LAN1::SOL", "PrivilegeLevelLimit", "OPERATOR"},
                       {"CHANNEL::LAN1::SOL", "SolNumberOfRetries", "3"},
                       {"CHANNEL::LAN1::SOL", "SolRetryInterval", "330"}});
  simulator->TakeRequests();
  const Outcome restored = Run("restore --yes --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.out << restored.err;
  ASSERT_EQ(Run("save y.ini").exitCode, 0);
  // The address that DHCP has given is a fact of the BMC, not of the file.
  const std::string address = "IPV6=2001:DB8::";
  std::string expected = ReadText(PathOf("x.ini"));
  expected.replace(expected.find(address), address.size() + 1, address + "DD01");
  EXPECT_EQ(ReadText(PathOf("y.ini")), expected);

  EXPECT_THAT(Ipmitool("user list 2"), HasSubstr("Vier"));
  EXPECT_THAT(Ipmitool("chassis status"), HasSubstr("always-on"));
  EXPECT_THAT(Ipmitool("raw 0xc 2 1 19 2 0"), HasSubstr("c0 00 02 4d 00 00 5e 00 53 aa"));
  EXPECT_THAT(Ipmitool("raw 4 0x13 7 3 0"), HasSubstr("11 03 80"));
  EXPECT_THAT(Ipmitool("raw 6 0x41 2 0x40"), HasSubstr("23 03"));
  EXPECT_THAT(Ipmitool("raw 6 0x4d 1 3"), HasSubstr("02 00 00 00"));
  EXPECT_THAT(Ipmitool("raw 0xc 0x22 1 4 0 0"), HasSubstr("11 03 21"));

  simulator->TakeRequests();
  EXPECT_EQ(Run("restore --yes --no-backup y.ini").exitCode, 0);
  EXPECT_THAT(simulator->TakeRequests("0C 01"), IsEmpty());
  EXPECT_THAT(simulator->TakeRequests("06 43"), IsEmpty());
}

TEST_F(IpmiToolTest, ABmcWithFewCommandsSavesWhatItHasAndReportsTheRest) {
  Start(Simulator::Commands::Stock);
  if (IsSkipped() || HasFatalFailure()) return;
  SaveEdited("x.ini", {{"USERS::USER4", "UserName", "Vier"},
                       {"LANCHANNELS", "LANFailOver", "ENABLE"},
                       {"CHANNEL::LAN2", "ARPEnable", "ENABLE"},
                       {"CHANNEL::LAN2", "GatewayMAC", "00-00-5E-00-53-99"}});
  EXPECT_EQ(Line(ReadText(PathOf("x.ini")), "USERS::USER3", "SOLEnableCh1"), "");
  const Outcome restored = Run("restore --yes --skip-system-check --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 1);
  EXPECT_THAT(restored.out, AllOf(HasSubstr("Vier  applied"),
                                  HasSubstr("ENABLE  not applied (IPMI has no standard")));
  EXPECT_THAT(Ipmitool("user list 1"), HasSubstr("Vier"));
}

TEST_F(IpmiToolTest, ARefusedValueIsReportedWithItsReasonAndTheRestIsWritten) {
  Start(Simulator::Commands::All);
  if (IsSkipped() || HasFatalFailure()) return;
  SaveEdited("x.ini", {{"USERS::USER4", "UserName", "Vier"},
                       {"CHANNEL::LAN2", "ARPInterval", "9"},
                       {"PEF::FILTERS", "Filter2", "ENABLE"},
                       {"PEF", "PEFEnable", "ENABLE"}});
  simulator->Misbehave(
      "refuse 212 06 45\nignore 0 0C 01 02 0B\nrefuse 204 04 12 07\ndelay 1500 04 12 01\n");
  const Outcome restored = Run("restore --yes --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 1);
  EXPECT_THAT(restored.out,
              AllOf(HasSubstr("Vier  not applied (the privilege of the session is too low"),
                    HasSubstr("9  not applied (the BMC accepted it and kept another"),
                    HasSubstr("ENABLE  not applied (the BMC does not take a value"),
                    HasSubstr("PEF::PEFEnable  DISABLE → ENABLE  applied")));
}

TEST_F(IpmiToolTest, AWrongLoginOrHostSaysWhichAndWritesNoFile) {
  Start(Simulator::Commands::All);
  if (IsSkipped() || HasFatalFailure()) return;
  WriteText(PathOf("pw"), "wrong\n");
  const Outcome wrongPassword = Run("save x.ini");
  EXPECT_EQ(wrongPassword.exitCode, 77);
  EXPECT_THAT(wrongPassword.err, AllOf(HasSubstr("password is wrong"), Not(HasSubstr("wrong\n"))));
  const Outcome wrongUser = Run("save x.ini", "nobody");
  EXPECT_EQ(wrongUser.exitCode, 77);
  EXPECT_THAT(wrongUser.err, HasSubstr("no such user"));
  WriteText(PathOf("pw"), "a-password-of-21-byte\n");
  EXPECT_EQ(Run("save x.ini").exitCode, 64);

  port = 9;  // discard: nothing answers there
  WriteText(PathOf("pw"), "secret\n");
  const auto before = std::chrono::steady_clock::now();
  const Outcome dead = Run("save x.ini");
  EXPECT_EQ(dead.exitCode, 69);
  EXPECT_THAT(dead.err, HasSubstr("127.0.0.1:9: no answer"));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
  EXPECT_NE(Shell("test -e x.ini").exitCode, 0);
}

TEST_F(IpmiToolTest, ABmcThatDiesMidwayLeavesNoFileAndAReportOfWhatWasWritten) {
  Start(Simulator::Commands::All);
  if (IsSkipped() || HasFatalFailure()) return;
  SaveEdited("x.ini", {{"PEF", "PEFEnable", "ENABLE"},
                       {"USERS::USER4", "UserName", "Vier"},
                       {"USERS::USER4", "GlobalUserStatus", "ENABLE"}});
  simulator->Misbehave("die 0 06 45\n");
  const Outcome restored = Run("restore --yes --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 69);
  EXPECT_THAT(restored.err, HasSubstr("session is lost"));
  EXPECT_THAT(restored.out, AllOf(HasSubstr("(the session was lost while it was written)"),
                                  HasSubstr("(it was not sent)")));

  simulator = std::make_unique<Simulator>(PathOf("sim2"), Simulator::Commands::All);
  Relay relay(simulator->Port());
  port = relay.Port();
  relay.DieAfter(60);
  const Outcome saved = Run("save z.ini");
  EXPECT_EQ(saved.exitCode, 69) << saved.out;
  EXPECT_THAT(saved.err, HasSubstr("session is lost"));
  EXPECT_NE(Shell("test -e z.ini").exitCode, 0);
}

TEST_F(IpmiToolTest, ATargetMustBeWellFormed) {
  for (const char* place :
       {"ipmi:", "ipmi:admin@", "ipmi:admin@:623", "ipmi:admin@h:0", "ipmi:admin@h:65536",
        "ipmi:admin@h:x", "ipmi:a@[::1]:x", "ipmi:seventeen-letters@h"}) {
    const Outcome outcome = ToolTest::Run("--target " + std::string(place) + " save x.ini");
    EXPECT_EQ(outcome.exitCode, 64) << place << outcome.err;
  }
  const Outcome unknown = ToolTest::Run("--target ipmi:a@h --ipmi-workaround magic save x.ini");
  EXPECT_EQ(unknown.exitCode, 64);
  EXPECT_THAT(unknown.err, HasSubstr("opensesspriv"));
  const Outcome noPassword = ToolTest::Run("--target ipmi:a@h save x.ini", "setsid");
  EXPECT_EQ(noPassword.exitCode, 64);
  EXPECT_THAT(noPassword.err, HasSubstr("password"));
}

}  // namespace
}  // namespace Test
