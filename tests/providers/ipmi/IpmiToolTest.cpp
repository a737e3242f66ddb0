// The tool against a simulated BMC: files, messages and exit codes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Simulator.h"
#include "support/FileEdit.h"
#include "support/TestEngine.h"
#include "tool/ToolFixture.h"

namespace Test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class IpmiToolTest : public ToolTest {
 protected:
  void SetUp() override {
    if (!Simulator::IsUsable()) GTEST_SKIP() << "ipmi_sim is not installed";
    Start(Simulator::Commands::All);
    WriteText(PathOf("pw"), "secret\n");
  }

  void Start(Simulator::Commands commands) {
    simulator.reset();
    simulator = std::make_unique<Simulator>(PathOf("sim"), commands);
    port = simulator->Port();
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
    for (const Edit& edit : edits) text = WithValue(text, edit.section, edit.key, edit.value);
    WriteText(PathOf(file), text);
    WriteText(PathOf("users"), "Vier:a-secret-of-4\n");
    EXPECT_EQ(chmod(PathOf("users").c_str(), 0600), 0);
  }

  std::unique_ptr<Simulator> simulator;
  std::uint16_t port = 0;
};

TEST_F(IpmiToolTest, WhatIsEditedIsRestoredAndNothingElseChanges) {
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
  const Outcome restored =
      Run("restore --yes --allow-lockout --user-password-file users --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.out << restored.err;
  ASSERT_EQ(Run("save y.ini").exitCode, 0);
  // The address that DHCP has given is a fact of the BMC, not of the file.
  EXPECT_EQ(ReadText(PathOf("y.ini")),
            WithValue(ReadText(PathOf("x.ini")), "CHANNEL::LAN1", "IPV6", "2001:DB8::DD01"));

  EXPECT_THAT(Ipmitool("user list 2"), HasSubstr("Vier"));
  EXPECT_THAT(Ipmitool("chassis status"), HasSubstr("always-on"));
  EXPECT_THAT(Ipmitool("raw 0xc 2 1 19 2 0"), HasSubstr("c0 00 02 4d 00 00 5e 00 53 aa"));
  EXPECT_THAT(Ipmitool("raw 4 0x13 7 3 0"), HasSubstr("11 03 80"));
  EXPECT_THAT(Ipmitool("raw 6 0x41 2 0x40"), HasSubstr("23 03"));
  EXPECT_THAT(Ipmitool("raw 6 0x4d 1 3"), HasSubstr("02 00 00 00"));
  EXPECT_THAT(Ipmitool("raw 0xc 0x22 1 4 0 0"), HasSubstr("11 03 21"));

  simulator->TakeRequests();
  EXPECT_EQ(
      Run("restore --yes --allow-lockout --user-password-file users --no-backup y.ini").exitCode,
      0);
  EXPECT_THAT(simulator->TakeRequests("0C 01"), IsEmpty());
}

TEST_F(IpmiToolTest, TheWayBackHasTheNewNameOfTheSessionsOwnAccount) {
  SaveEdited("x.ini",
             {{"USERS::USER2", "UserName", "root"}, {"CHANNEL::LAN1", "DHCPEnable", "ENABLE"}});
  WriteText(PathOf("users"), "root:secret\nadmin:secret\n");
  const Outcome restored =
      Run("restore --yes --allow-lockout --user-password-file users --backup-dir h x.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.err;
  EXPECT_THAT(restored.err, HasSubstr("the way back may not work from here: CHANNEL::LAN1"));
  EXPECT_THAT(Ipmitool("user list 1").substr(0, 5), Not(HasSubstr("ID")));  // admin is unknown
  const std::string all = restored.out + restored.err;
  const std::size_t from = all.find("saverestore --target ipmi:root@");
  ASSERT_NE(from, std::string::npos) << all;
  const std::string back = all.substr(from, all.find('\n', from) - from);
  const Outcome undone = Shell(ToolProgram() + back.substr(back.find(' ')) + " --yes");
  EXPECT_EQ(undone.exitCode, 0) << back << undone.err;
  EXPECT_THAT(Ipmitool("user list 1"), HasSubstr("admin"));
}

TEST_F(IpmiToolTest, WhatABmcLacksOrRefusesIsReportedAndTheRestIsWritten) {
  const std::vector<Edit> edits = {{"USERS::USER4", "UserName", "Vier"},
                                   {"LANCHANNELS", "LANFailOver", "ENABLE"},
                                   {"PEF", "PEFEnable", "ENABLE"}};
  SaveEdited("x.ini", edits);
  simulator->Misbehave("06 45: answer D4");
  const Outcome restored = Run(
      "restore --yes --allow-lockout --user-password-file users --keep-going --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 1);
  EXPECT_THAT(restored.out,
              AllOf(HasSubstr("Vier  not applied (the privilege of the session is too low"),
                    HasSubstr("ENABLE  skipped (this target has no such setting)"),
                    HasSubstr("PEF::PEFEnable  DISABLE → ENABLE  applied")));

  Start(Simulator::Commands::Stock);
  SaveEdited("y.ini", edits);
  EXPECT_EQ(ValuesOf(ReadText(PathOf("y.ini")))["USERS::USER3::SOLEnableCh1"], "");
  EXPECT_EQ(Run("restore --yes --allow-lockout --user-password-file users --keep-going "
                "--skip-system-check "
                "--no-backup y.ini")
                .exitCode,
            0);
  EXPECT_THAT(Ipmitool("user list 1"), HasSubstr("Vier"));
}

TEST_F(IpmiToolTest, AWrongTargetSaysWhyAndWritesNoFile) {
  struct Row {
    const char* password;
    const char* user;
    int exitCode;
    const char* text;
  };
  for (const Row& row : std::to_array<Row>({{"mistaken", "admin", 77, "password is wrong"},
                                            {"secret", "nobody", 77, "no such user"},
                                            {"a-password-of-21-byte", "admin", 64, "20"}})) {
    WriteText(PathOf("pw"), row.password);
    const Outcome outcome = Run("save x.ini", row.user);
    EXPECT_EQ(outcome.exitCode, row.exitCode);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr(row.text), Not(HasSubstr(row.password)),
                                   Not(HasSubstr("permissions"))));
  }
  WriteText(PathOf("pw"), "secret");
  WriteText(PathOf("kg"), "0x123");
  port = 9;  // discard: nothing answers there
  const Outcome dead = Run("--timeout 1 save x.ini");
  EXPECT_EQ(dead.exitCode, 69);
  EXPECT_THAT(dead.err, HasSubstr("127.0.0.1:9: no answer"));
  for (const char* place :
       {"ipmi:", "ipmi:admin@", "ipmi:admin@:623", "ipmi:admin@h:0", "ipmi:admin@h:65536",
        "ipmi:admin@h:x", "ipmi:a@[::1]:x", "ipmi:seventeen-letters@h",
        "ipmi:a@h --ipmi-workaround magic", "ipmi:a@h --cipher-suite 0",
        "ipmi:a@h --bmc-password-file pw --kg-file kg"}) {
    const Outcome outcome = ToolTest::Run("--target " + std::string(place) + " save x.ini");
    EXPECT_EQ(outcome.exitCode, 64) << place << outcome.err;
  }
  const Outcome noPassword = ToolTest::Run("--target ipmi:a@h save x.ini", "setsid");
  EXPECT_EQ(noPassword.exitCode, 64);
  EXPECT_THAT(noPassword.err, HasSubstr("password"));
  EXPECT_NE(Shell("test -e x.ini").exitCode, 0);
}

TEST_F(IpmiToolTest, ABmcThatDiesMidwayLeavesNoFileAndAReportOfWhatWasWritten) {
  SaveEdited("x.ini", {{"PEF", "PEFEnable", "ENABLE"}, {"USERS::USER4", "UserName", "Vier"}});
  simulator->Misbehave("06 45: exit");
  const Outcome restored =
      Run("--timeout 1 restore --yes --allow-lockout --user-password-file users --no-backup x.ini");
  EXPECT_EQ(restored.exitCode, 69);
  EXPECT_THAT(restored.err, HasSubstr("session is lost"));
  EXPECT_THAT(restored.out,
              AllOf(HasSubstr("Vier  not applied (the session was lost while it was written"),
                    Not(HasSubstr("DISABLE → ENABLE  not applied"))));
  Start(Simulator::Commands::All);
  simulator->Misbehave("0C 22: exit");
  const Outcome saved = Run("--timeout 1 save z.ini");
  EXPECT_EQ(saved.exitCode, 69) << saved.out;
  EXPECT_NE(Shell("test -e z.ini").exitCode, 0);
}

}  // namespace
}  // namespace Test
