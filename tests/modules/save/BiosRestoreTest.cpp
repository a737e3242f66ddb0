// The BIOS part of a restore: what is queued, what is passed over and what is said about it.
#include "ini/IniPrimitives.h"
#include "modules/save/RestoreFixture.h"
#include "modules/save/SerialPorts.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

class BiosRestoreTest : public RestoreTest {
 protected:
  /// Restores the BIOS part without boot orders. \return what is printed.
  std::string RestoreBios(const std::string& text) { return Restore(text, 0, true); }
};

const std::string kMissing = "Failed to find option name \"BIOS::";
const std::string kSkipped = "\" in ini file, skip this item.\n";
const std::string kLongest(127, 'a');
const std::string kTooLong =
    "The value of \"BIOS::Main::A\" in ini file is longer than 127 bytes, skip this item.\n";

/// Settings of /BIOS/Main, the keys that a file has of them, and what a restore makes of these.
struct MainRow {
  const char* name;
  std::string settings;  ///< "name=value|..."
  std::string keys;
  std::string queued{};
  std::string printed{};
};

class MainMenuTest : public BiosRestoreTest, public ::testing::WithParamInterface<MainRow> {};

TEST_P(MainMenuTest, QueuesWhatDiffersAndNamesWhatItPassesOver) {
  Menu("/BIOS/Main", SplitPairs(GetParam().settings));
  EXPECT_EQ(RestoreBios("[BIOS::Main]\n" + GetParam().keys), GetParam().printed);
  EXPECT_EQ(BiosBatch(), SettingsBelow("/BIOS/Main/", GetParam().queued));
}

const MainRow kMainRows[] = {
    {"Differs", "A=1|B=0", "A=0\t;Options\nB=0\n", "A=0"},
    {"BlanksOfTheValueStay", "A=a", "A=\\x20b \n", "A= b"},
    {"EmptyLeavesAlone", "A=1|B=1|C=1", "A=\t;Options\nB=\\x09\nC=;Options\n"},
    {"PrivateKeys", "AdminPw=| UserPw=|SystemTime=1", "AdminPw=x\nUserPw=x\nSystemTime=x\n"},
    {"Fits", "A=x", "A=" + kLongest + "\n", "A=" + kLongest},
    // Cut to what a reader hands out the two would be equal.
    {"LongAndSame", "A=" + kLongest + "b", "A=" + kLongest + "b\n"},
    {"LongAndOther", "A=" + kLongest + "b", "A=" + kLongest + "c\n", "", kTooLong},
    {"TheKeyIsTrimmedThePathIsNot", "\r\n\tA \n=1", "A=0\n", "\r\n\tA \n=0"},
    {"NamesThatDifferInBlanks", "A=1| A=2|A =3", "A=1\n\\x20A=2\nA\\x20=4\n", "A =4"},
    {"MissingKeyIsTrimmed", " A =1|B=1", "B=2\n", "B=2", kMissing + "Main::A" + kSkipped},
    {"ControlsDoNotReachATerminal", "\x1b[2J\xC2\x9B\x85\xC3\x9F\\x=1", "", "",
     kMissing + "Main::\\x1B[2J\\xC2\\x9B\\x85\xC3\x9F\\x5Cx" + kSkipped},
};
INSTANTIATE_TEST_SUITE_P(Rows, MainMenuTest, ::testing::ValuesIn(kMainRows), kNameOfRow);

TEST_F(BiosRestoreTest, ALabelThatIsNotFoundGivesWayToTheAttribute) {
  Menu("/BIOS/Main", SplitPairs("A=1|B=1|C=1|D=1|E=1|F=1|Bare=1"));
  for (const std::string name : {"A", "B", "C", "D"}) {
    engine->tree["/BIOS/Main/" + name].remark = "0 to 9; attribute X" + name;
  }
  const std::string file =
      "[BIOS::Old]\nWas A=2\t;Options; attribute XA\nXB=3\nF=9\n"
      "One=4\t;Options; attribute XC\nTwo=5\t;Options; attribute XC\n"
      "Was Bare=6\t;Options; attribute Bare\n"
      "[BIOS::Main]\nE=1\t;Options; attribute XD\n";
  const auto missing = [](const char* key) { return kMissing + "Main::" + key + kSkipped; };
  // C could be either, E is a setting of its own, and F says nothing of what it is.
  EXPECT_EQ(RestoreBios(file), missing("C") + missing("D") + missing("F"));
  EXPECT_EQ(BiosBatch(), SettingsBelow("/BIOS/Main/", "A=2|B=3|Bare=6"));
}

TEST_F(BiosRestoreTest, OneBatchInTheFormOfThePlatform) {
  Menu("/BIOS/Main", {{"A", "1"}});
  Menu("/BIOS/Main/Sub", {{"B", "x"}});
  const std::string file = "[BIOS::Main]\nA=0\n[BIOS::Main::Sub]\nB=y\n";
  RestoreBios(file);
  EXPECT_EQ(engine->writes.size(), 2U);  // the password check and the batch
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/A", "0"), Pair("/BIOS/Main/Sub/B", "y")));
  RestoreBios(file);
  EXPECT_EQ(engine->writes.size(), 1U);  // a batch of nothing reaches nobody
  SetServer("TARVEN_PLATFORM", "TARVEN");
  engine->Set("/BIOS/Main/A", "1");
  RestoreBios(file);
  EXPECT_EQ(engine->writes.back().how, "batch(true,false)");
  EXPECT_THAT(engine->writes.back().settings, ElementsAre(Pair("/BIOS/Main/A", "0")));
}

TEST_F(BiosRestoreTest, WhatIsNeverRestoredIsNotEvenMissed) {
  Menu("/BIOS/Main", {{"Hidden", "1"}, {"Odd", "1"}});
  engine->tree["/BIOS/Main/Hidden"].flag = true;
  engine->tree["/BIOS/Main/Odd"].kind = 2;
  Menu("/BIOS/Exit", {{"Discard", "1"}});  // takes no part
  const std::string top = "/BIOS/Server Management";
  Menu(top, {{"Timer", "1"}});
  Menu(top + "/BMC LAN Configuration 2", {{"IP", "1"}});
  Menu(top + "/BMC LAN Configuration 2/More", {{"IP", "1"}});
  Menu(top + "/Other", {{"Kept", "1"}});
  Menu(top + "/Other/BMC LAN Configuration", {{"IP", "1"}});
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nOdd=x\n[BIOS::Server Management]\nTimer=x\n"
                        "[BIOS::Server Management::Other]\nKept=x\n"),
            "");
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair(top + "/Other/Kept", "x"), Pair(top + "/Timer", "x")));
}

TEST_F(BiosRestoreTest, TheExcludedNodesAreTheRestoresOwn) {
  Menu("/BIOS/Main");
  for (const char* path :
       {"/BIOS/Boot Options/Boot Options", "/BIOS/Boot Options/Boot Options/Boot Option #%d",
        "/BIOS/Boot Options/Boot Option #%d", "/BIOS/Boot Options/Delete EFI Boot Option",
        "/BIOS/Boot Options/Delete EFI Boot Option/Delete Boot Option",
        "/BIOS/Boot Options/Add EFI Boot Option",
        "/BIOS/Boot Options/Add EFI Boot Option/Add Boot Option",
        // Excluded in a save only, or not at all.
        "/BIOS/Boot Options/Add EFI Boot Option/Select File system", "/BIOS/Boot Options/X"}) {
    engine->tree["/BIOS/Main"].values.push_back(path);
    engine->Set(path, "1");
  }
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nSelect File system=2\nX=2\n"), "");
  EXPECT_EQ(BiosBatch().size(), 2U);
  engine->tree["/BIOS/Boot Options/Boot Options"].kind = NODE_MENU;
  engine->tree["/BIOS/Boot Options/Boot Options"].values = {"/BIOS/Y"};
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nSelect File system=2\nX=2\n"), "");
}

TEST_F(BiosRestoreTest, ABiosThatCannotBeReadIsSaid) {
  std::erase_if(engine->tree, [](const auto& node) { return node.first.starts_with("/BIOS"); });
  EXPECT_EQ(RestoreBios("[BIOS::Main]\nA=1\n"),
            "The BIOS settings of this server cannot be read, no BIOS setting is restored.\n");
}

TEST_F(BiosRestoreTest, AMenuIsTakenOnceAlsoBelowSeveralTopLevelMenus) {
  Menu("/BIOS/Main", {{"A", "1"}});
  Menu("/BIOS/Security");
  for (const char* menu : {"/BIOS/Main", "/BIOS/Security"}) {
    engine->tree[menu].values.push_back("/BIOS/Main");
  }
  EXPECT_EQ(RestoreBios("[POWER]\n"),
            "Failed to find section \"BIOS::Main\" in ini file, skip this item.\n");
}

/// The serial ports: two menus below "Serial Port Configuration", whose keys a file may have in the
/// section of that menu, those of port B with a "B" behind.
struct PortsRow {
  const char* name;
  std::string keys;        ///< of that section
  std::string queued;      ///< "A/IRQ=3|..."
  std::string remembered;  ///< the address and the interrupt of port A, and whether B was seen
  int code = 0;
  std::string printed{};
  std::string ofPortA{};  ///< keys of port A's own section
};

class SerialPortTest : public BiosRestoreTest, public ::testing::WithParamInterface<PortsRow> {
 protected:
  SerialPortTest() {
    SDK::SerialPorts::OfProcess() = {};
    engine->Set("/BIOS/UEFI231Aware", "True");
    Menu("/BIOS/Advanced");
    Menu(kMenu);
    Menu(kMenu + "/Port B", SplitPairs("Serial B Enable=0|Address=9|IRQ=9"));
    Menu(kMenu + "/Port A", SplitPairs("Serial A Enable=0|Address=9|IRQ=9"));
  }

  static std::string File(const PortsRow& row) {
    const std::string section = "[BIOS::Advanced::Serial Port Configuration";
    return (row.ofPortA.empty() ? "" : section + "::Port A]\n" + row.ofPortA) + section + "]\n" +
           row.keys;
  }

  const std::string kMenu = "/BIOS/Advanced/Serial Port Configuration";
  const SDK::SerialPortMemory memory;
};

TEST_P(SerialPortTest, ReadsBothPortsFromTheOneSection) {
  const PortsRow& row = GetParam();
  std::string printed;
  EXPECT_EQ(CodeOf([&] { printed = RestoreBios(File(row)); }), row.code);
  EXPECT_EQ(printed, row.printed);
  EXPECT_EQ(BiosBatch(), SettingsBelow(kMenu + "/Port ", row.queued));
  const SDK::SerialPorts& ports = SDK::SerialPorts::OfProcess();
  EXPECT_EQ(ports.Serial_A_Address + " " + ports.Serial_A_IRQ + (ports.serialBfound ? " B" : ""),
            row.remembered);
}

const std::string kPortA = "Serial A Enable=1\nAddress=0\nIRQ=4\nSerial B Enable=1\n";
const std::string kNoKey = kMissing + "Advanced::Serial Port Configuration::";
const PortsRow kPortsRows[] = {
    // Interrupt 4 becomes 3 here. What is remembered is what came last, port B's.
    {"Both", kPortA + "AddressB=1\nIRQB=5\n",
     "A/Serial A Enable=1|A/Address=0|A/IRQ=3|B/Serial B Enable=1|B/Address=1|B/IRQ=5", "1 5 B"},
    // No conflict: the second port is off, and its keys are the first one's.
    {"OnlyTheFirst", "Serial A Enable=1\nAddress=0\nIRQ=3\nSerial B Enable=0\n",
     "A/Serial A Enable=1|A/Address=0|A/IRQ=3|B/Address=0|B/IRQ=3", "0 3"},
    {"SameAddress", kPortA + "AddressB=0\nIRQB=5\n", "", "0 3 B", 1353},
    {"SameInterrupt", kPortA + "AddressB=1\nIRQB=3\n", "", "1 3 B", 1353},
    {"SameBeforeItIsCompared", kPortA + "AddressB=1\nIRQB=4\n", "", "1 3 B", 1353},
    {"FoundAtOnceIsNeitherChangedNorKept", "Serial B Enable=1\nAddressB=1\nIRQB=4\n",
     "A/Serial A Enable=1|A/Address=1|A/IRQ=4|B/Serial B Enable=1|B/Address=1|B/IRQ=3", "1 3 B", 0,
     "", "Serial A Enable=1\nAddress=1\nIRQ=4\n"},
    {"SwitchAIsRequired", "Serial B Enable=1\n", "", " ", 1134},
    {"SwitchBIsRequired", "Serial A Enable=1\nAddress=0\nIRQ=3\n", "", "0 3", 1134},
    {"TheRestIsNot", "Serial A Enable=1\nSerial B Enable=1\n",
     "A/Serial A Enable=1|B/Serial B Enable=1", "  B", 0,
     kNoKey + "Address" + kSkipped + kNoKey + "IRQ" + kSkipped + kNoKey + "AddressB" + kSkipped +
         kNoKey + "IRQB" + kSkipped},
};
INSTANTIATE_TEST_SUITE_P(Rows, SerialPortTest, ::testing::ValuesIn(kPortsRows), kNameOfRow);

TEST_F(SerialPortTest, OnlyARehearsalIsForgotten) {
  const PortsRow& both = kPortsRows[0];
  {
    const SDK::SerialPortMemory rehearsal;
    EXPECT_EQ(CodeOf([&] { RestoreBios(File(both)); }), 0);
  }
  EXPECT_EQ(CodeOf([&] { RestoreBios(File(both)); }), 0);
  // The second port is known to be on now, so the first one reads the second's keys.
  EXPECT_EQ(CodeOf([&] { RestoreBios(File(both)); }), 1353);
  EXPECT_EQ(engine->writes.size(), 1U);  // the password check alone
}

TEST_F(SerialPortTest, ValuesFromOtherKeysAreTold) {
  class Told final : public OpenSaveRestore {
   public:
    std::vector<std::string> taken;

   protected:
    void ValueTakenFrom(const std::string& path, const std::string& section, const std::string& key,
                        const std::string& value) override {
      taken.push_back(path.substr(41) + " " + section.substr(16) + " " + key + "=" + value);
    }
  };
  WriteText(PathOf("x.ini"), File(kPortsRows[5]));
  Told module;
  SDK::SavenRestoreOptions options = Options(PathOf("x.ini"), 0);
  options.skipSystemCheck = options.skipBootOrder = true;
  module.Restore(options);
  EXPECT_THAT(module.taken,
              ElementsAre("Port B/Serial B Enable Serial Port Configuration Serial B Enable=1",
                          "Port B/Address Serial Port Configuration AddressB=1",
                          "Port B/IRQ Serial Port Configuration IRQB=3"));
}

}  // namespace
}  // namespace Test
