// The BIOS part of a restore: what is queued, what is passed over and what is said about it.
#include <cstdlib>
#include <functional>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class BiosRestoreTest : public RestoreTest {
 protected:
  /// Restores the BIOS part without boot orders. \return what is printed.
  std::string RestoreBios(const std::string& text) { return Restore(text, 0, true); }
};

TEST_F(BiosRestoreTest, QueuesWhatDiffersAndSendsOneBatch) {
  Menu("/BIOS/Main", {{"Quiet Boot", "1"}, {"POST Pause", "0"}, {"Label", "a"}});
  Menu("/BIOS/Main/Sub", {{"Deep", "x"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nQuiet Boot=0\nPOST Pause=0\nLabel=\\x20b \n"
                        "[BIOS::Main::Sub]\nDeep=y\t;Options\n"),
            "");
  // The value's own blanks stay; those that the line has around it do not belong to it.
  EXPECT_THAT(BiosBatch(),
              ElementsAre(Pair("/BIOS/Main/Label", " b"), Pair("/BIOS/Main/Quiet Boot", "0"),
                          Pair("/BIOS/Main/Sub/Deep", "y")));
  ASSERT_EQ(engine->writes.size(), 2U);  // the password check and the batch
  RestoreBios(
      "[BIOS::Main]\nQuiet Boot=0\nPOST Pause=0\nLabel=\\x20b\n[BIOS::Main::Sub]\nDeep=y\n");
  EXPECT_EQ(engine->writes.size(), 1U);  // a batch of nothing reaches nobody
}

TEST_F(BiosRestoreTest, AnOlderPlatformGetsAPlainBatch) {
  SetServer("TARVEN_PLATFORM", "TARVEN");
  Menu("/BIOS/Main", {{"Quiet Boot", "1"}});
  RestoreBios("[BIOS::Main]\nQuiet Boot=0\n");
  EXPECT_EQ(engine->writes.back().how, "batch(true,false)");
  EXPECT_THAT(engine->writes.back().settings, ElementsAre(Pair("/BIOS/Main/Quiet Boot", "0")));
}

TEST_F(BiosRestoreTest, MissingItemsAreNamedAndTheRestGoesOn) {
  Menu("/BIOS/Main", {{" Quiet Boot ", "1"}, {"Last", "1"}});
  Menu("/BIOS/Security", {{"Lock", "0"}, {"Key\x1b[2J", "0"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nLast=2\n"),
            "Failed to find option name \"BIOS::Main::Quiet Boot\" in ini file, skip this item.\n"
            "Failed to find section \"BIOS::Security\" in ini file, skip this item.\n"
            "Failed to find section \"BIOS::Security\" in ini file, skip this item.\n");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/Last", "2")));
  EXPECT_THAT(RestoreBios("[BIOS::Main]\n Quiet Boot =0\nLast=2\n[BIOS::Security]\nLock=0\n"),
              HasSubstr("\"BIOS::Security::Key\\x1B[2J\""));
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/ Quiet Boot ", "0")));
}

TEST_F(BiosRestoreTest, NamesThatDifferInBlanksKeepTheirOwnValues) {
  Menu("/BIOS/Main", {{"Port", "1"}, {" Port", "2"}, {"Port ", "3"}});
  EXPECT_EQ(RestoreBios(Saved(0)), "");
  EXPECT_THAT(BiosBatch(), IsEmpty());
}

TEST_F(BiosRestoreTest, WhatIsNeverRestoredIsNotEvenMissed) {
  Menu("/BIOS/Main",
       {{"AdminPw", ""}, {" UserPw", ""}, {"SystemTime", "1"}, {"Hidden", "1"}, {"Odd", "1"}});
  engine->tree["/BIOS/Main/Hidden"].flag = true;
  engine->tree["/BIOS/Main/Odd"].kind = 2;
  Menu("/BIOS/Exit", {{"Discard", "1"}});  // takes no part
  Menu("/BIOS/Server Management", {{"Timer", "1"}});
  Menu("/BIOS/Server Management/BMC LAN Configuration 2", {{"IP", "1"}});
  Menu("/BIOS/Server Management/BMC LAN Configuration 2/More", {{"IP", "1"}});
  Menu("/BIOS/Server Management/Other", {{"Kept", "1"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nAdminPw=x\nUserPw=x\nSystemTime=x\nHidden=x\nOdd=x\n"
                        "[BIOS::Exit]\nDiscard=x\n[BIOS::Server Management]\nTimer=x\n"
                        "[BIOS::Server Management::BMC LAN Configuration 2]\nIP=x\n"
                        "[BIOS::Server Management::BMC LAN Configuration 2::More]\nIP=x\n"
                        "[BIOS::Server Management::Other]\nKept=x\n"),
            "");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Server Management/Other/Kept", "x"),
                                       Pair("/BIOS/Server Management/Timer", "x")));
}

TEST_F(BiosRestoreTest, TheExcludedNodesAreTheRestoresOwn) {
  const std::string top = "/BIOS/Boot Options";
  Menu(top, {{"Boot Option #%d", "1"}, {"Boot Option #1", "1"}});
  Menu(top + "/Boot Options", {{"Boot Option #%d", "1"}, {"Other", "1"}});
  Menu(top + "/Add EFI Boot Option", {{"Add Boot Option", "1"}});
  Menu(top + "/Delete EFI Boot Option", {{"Delete Boot Option", "1"}});
  // Below a menu that is itself excluded nothing is reached, so these hang elsewhere too.
  Menu("/BIOS/Main", {});
  for (const char* path :
       {"/Boot Options/Boot Option #%d", "/Add EFI Boot Option/Add Boot Option",
        "/Delete EFI Boot Option/Delete Boot Option", "/Add EFI Boot Option/Select File system"}) {
    engine->tree["/BIOS/Main"].values.push_back(top + path);
    engine->Set(top + path, "1");
  }
  EXPECT_EQ(RestoreBios("[BIOS::Boot Options]\nBoot Option #%d=2\nBoot Option #1=2\n"
                        "[BIOS::Main]\nBoot Option #%d=2\nAdd Boot Option=2\n"
                        "Delete Boot Option=2\nSelect File system=2\n"),
            "");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair(top + "/Add EFI Boot Option/Select File system", "2"),
                                       Pair(top + "/Boot Option #1", "2")));
}

TEST_F(BiosRestoreTest, AnEmptyValueLeavesTheSettingAlone) {
  Menu("/BIOS/Main", {{"A", "1"}, {"B", "1"}, {"C", "1"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nA=\t;Options\nB=\\x09\nC=;Options\n"), "");
  EXPECT_THAT(BiosBatch(), IsEmpty());
}

TEST_F(BiosRestoreTest, AFallbackTextIsTheValueThatCounts) {
  Menu("/BIOS/Main", {{"Banner", ""}});
  engine->tree["/BIOS/Main/Banner"].values = {"", "Welcome"};
  EXPECT_EQ(RestoreBios(Saved(0)), "");
  EXPECT_THAT(BiosBatch(), IsEmpty());
  RestoreBios("[BIOS::Main]\nBanner=Hello\n");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/Banner", "Hello")));
}

TEST_F(BiosRestoreTest, AValueIsNeverQueuedCut) {
  const std::string longest(127, 'a');
  Menu("/BIOS/Main", {{"Fits", "x"}, {"Long", longest + "b"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nFits=" + longest + "\nLong=" + longest + "b\n"), "");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/Fits", longest)));
  // Cut to what a reader hands out the two would be equal.
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nFits=" + longest + "\nLong=" + longest + "c\n"),
            "The value of \"BIOS::Main::Long\" in ini file is longer than 127 bytes, skip this "
            "item.\n");
  EXPECT_THAT(BiosBatch(), IsEmpty());
}

TEST_F(BiosRestoreTest, ABiosThatCannotBeReadIsSaid) {
  std::erase_if(engine->tree, [](const auto& node) { return node.first.starts_with("/BIOS"); });
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nA=1\n"),
            "The BIOS settings of this server cannot be read, no BIOS setting is restored.\n");
  EXPECT_THAT(BiosBatch(), IsEmpty());
}

TEST_F(BiosRestoreTest, AMenuInACircleIsTakenOnce) {
  Menu("/BIOS/Main", {{"A", "1"}});
  engine->tree["/BIOS/Main"].values.emplace_back("/BIOS/Main");
  EXPECT_EQ(RestoreBios("[POWER]\n"),
            "Failed to find section \"BIOS::Main\" in ini file, skip this item.\n");
}

/// The serial ports: two menus below "Serial Port Configuration", whose keys a file may have in the
/// section of that menu, those of port B with a "B" behind. What a restore knows of port A it knows
/// as long as the process lives, so each case runs in a process of its own.
class SerialPortTest : public BiosRestoreTest {
 protected:
  SerialPortTest() {
    engine->Set("/BIOS/UEFI231Aware", "True");
    Menu("/BIOS/Advanced");
    Menu(kMenu);
    AddPort("Port B", "Serial B Enable");  // the last menu is walked first
    AddPort("Port A", "Serial A Enable");
  }

  void AddPort(const std::string& port, const std::string& enable) {
    Menu(kMenu + "/" + port, {{enable, "0"}, {"Address", "9"}, {"IRQ", "9"}});
  }

  /// A file with both ports in one section.
  static std::string Ports(const std::string& keys) { return Section("") + keys; }
  static std::string Section(const std::string& port) {
    return "[BIOS::Advanced::Serial Port Configuration" + port + "]\n";
  }
  [[nodiscard]] std::string Queued(const std::string& name) const {
    const SDK::SettingMap batch = BiosBatch();
    const auto setting = batch.find(kMenu + "/" + name);
    return setting == batch.end() ? "(none)" : setting->second;
  }

  static void InOwnProcess(const std::function<void()>& body) {
    EXPECT_EXIT(
        {
          body();
          std::fflush(stdout);
          std::_Exit(HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
  }

  const std::string kMenu = "/BIOS/Advanced/Serial Port Configuration";
};

TEST_F(SerialPortTest, BothPortsComeFromTheOneSection) {
  InOwnProcess([&] {
    EXPECT_EQ(RestoreBios(Ports("Serial A Enable=1\nAddress=0\nIRQ=4\nSerial B Enable=1\n"
                                "AddressB=1\nIRQB=5\n")),
              "");
    EXPECT_EQ(Queued("Port A/Address"), "0");
    EXPECT_EQ(Queued("Port A/IRQ"), "3");  // 4 becomes 3 here
    EXPECT_EQ(Queued("Port B/Serial B Enable"), "1");
    EXPECT_EQ(Queued("Port B/Address"), "1");
    EXPECT_EQ(Queued("Port B/IRQ"), "5");
  });
}

TEST_F(SerialPortTest, WithoutTheSecondPortItsKeysAreTheFirstOnes) {
  InOwnProcess([&] {
    EXPECT_EQ(RestoreBios(Ports("Serial A Enable=1\nAddress=0\nIRQ=3\nSerial B Enable=0\n")), "");
    EXPECT_EQ(Queued("Port B/Address"), "0");  // no conflict: the port is off
  });
}

TEST_F(SerialPortTest, TheSecondPortMayNotTakeWhatTheFirstHas) {
  const std::string ports = "Serial A Enable=1\nAddress=0\nIRQ=4\nSerial B Enable=1\n";
  // Interrupt 4 is 3 before the two are compared.
  for (const char* conflict :
       {"AddressB=0\nIRQB=5\n", "AddressB=1\nIRQB=3\n", "AddressB=1\nIRQB=4\n"}) {
    InOwnProcess([&] {
      try {
        RestoreBios(Ports(ports + conflict));
        ADD_FAILURE() << conflict;
      } catch (const ResultStatus& failure) {
        EXPECT_EQ(failure.getval(), 1353);
        EXPECT_THAT(failure.message(), HasSubstr("/BIOS/Serial Port Configuration"));
        EXPECT_EQ(failure.detail(), "");
      }
      EXPECT_EQ(engine->writes.size(), 1U);  // the password check alone
    });
  }
}

TEST_F(SerialPortTest, WhatIsFoundAtOnceIsNeitherChangedNorKept) {
  InOwnProcess([&] {
    EXPECT_EQ(RestoreBios(Section("::Port A") + "Serial A Enable=1\nAddress=1\nIRQ=4\n" +
                          Ports("Serial B Enable=1\nAddressB=1\nIRQB=4\n")),
              "");
    EXPECT_EQ(Queued("Port A/IRQ"), "4");
    EXPECT_EQ(Queued("Port B/Address"), "1");
    EXPECT_EQ(Queued("Port B/IRQ"), "3");
  });
}

TEST_F(SerialPortTest, ThePortSwitchesAreRequiredAndTheRestIsNot) {
  InOwnProcess([&] {
    EXPECT_EQ(CodeOf([&] { RestoreBios(Ports("Serial B Enable=1\n")); }), 1134);
    EXPECT_EQ(CodeOf([&] { RestoreBios(Ports("Serial A Enable=1\n")); }), 1134);
    EXPECT_EQ(CodeOf([&] { RestoreBios("[POWER]\n"); }), 1134);
  });
  InOwnProcess([&] {
    const std::string name =
        "Failed to find option name \"BIOS::Advanced::Serial Port "
        "Configuration::";
    const std::string rest = "\" in ini file, skip this item.\n";
    EXPECT_EQ(RestoreBios(Ports("Serial A Enable=1\nSerial B Enable=1\n")),
              name + "Address" + rest + name + "IRQ" + rest + name + "AddressB" + rest + name +
                  "IRQB" + rest);
  });
}

TEST_F(SerialPortTest, ASecondRestoreOfTheProcessKnowsTheFirstOnesPorts) {
  InOwnProcess([&] {
    const std::string ports =
        Ports("Serial A Enable=1\nAddress=0\nIRQ=3\nSerial B Enable=1\nAddressB=1\nIRQB=5\n");
    RestoreBios(ports);
    // The second port is known to be on, so the first one now reads the second's keys.
    EXPECT_EQ(CodeOf([&] { RestoreBios(ports); }), 1353);
  });
}

}  // namespace
}  // namespace Test
