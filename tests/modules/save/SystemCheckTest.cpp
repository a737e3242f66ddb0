// The checks before a restore: [SYSTEM] against the server, and the administrator password.
#include "common/Logger.h"
#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

/// A file's [SYSTEM] against a CALDRA server of BIOS ABCDEF.01, boot firmware 1, operational 2.
struct SystemRow {
  const char* name;
  const char* file;
  int code;
  int warnings;
  const char* board = "C4120CAL";
};

class SystemCheckTest : public RestoreTest, public ::testing::WithParamInterface<SystemRow> {
 protected:
  SystemCheckTest() {
    before_ = LOGGER::Logger::CreateInstance()->SetSink(
        [this](const LOGGER::LogRecord& record) { records.push_back(record); });
  }
  ~SystemCheckTest() override { LOGGER::Logger::CreateInstance()->SetSink(before_); }

  int CodeOfChecked(const std::string& text) {
    WriteText(PathOf("x.ini"), text);
    return CodeOf([&] { OpenSaveRestore().Restore(Options(PathOf("x.ini"), 3)); });
  }

  std::vector<LOGGER::LogRecord> records;

 private:
  LOGGER::Logger::Sink before_;
};

TEST_P(SystemCheckTest, TheFirstDifferenceDecides) {
  SetServer("CALDRA_PLATFORM", "CALDRA", GetParam().board);
  EXPECT_EQ(CodeOfChecked(std::string("[SYSTEM]\n") + GetParam().file), GetParam().code);
  EXPECT_EQ(records.size(), static_cast<std::size_t>(GetParam().warnings));
  EXPECT_THAT(engine->writes, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SystemCheckTest,
    ::testing::Values(
        SystemRow{"Same", "BIOSVersion=ABCDEF.01\nFWBootVersion=1\nFWOpcodeVersion=2\n", 0, 0},
        SystemRow{"NearBios", "BIOSVersion=ABCDEF.02\nFWBootVersion=1\nFWOpcodeVersion=2\n", 0, 1},
        SystemRow{"SixCharacters", "BIOSVersion=ABCDEF\nFWBootVersion=1\nFWOpcodeVersion=2\n", 0,
                  1},
        SystemRow{"OtherBios", "BIOSVersion=ABCDEG.01\nFWBootVersion=1\nFWOpcodeVersion=2\n", 1044,
                  0},
        SystemRow{"ShortBios", "BIOSVersion=ABCDE\nFWBootVersion=1\nFWOpcodeVersion=2\n", 1044, 0},
        SystemRow{"BiosCase", "BIOSVersion=abcdef.01\nFWBootVersion=1\nFWOpcodeVersion=2\n", 1044,
                  0},
        SystemRow{"OtherBoot", "BIOSVersion=ABCDEF.01\nFWBootVersion=9\nFWOpcodeVersion=2\n", 1045,
                  0},
        SystemRow{"NearBiosThenFirmware",
                  "BIOSVersion=ABCDEF.02\nFWBootVersion=1\nFWOpcodeVersion=9\n", 1045, 1},
        // Six characters are enough for the BIOS alone.
        SystemRow{"LongFirmware", "BIOSVersion=ABCDEF.01\nFWBootVersion=1.0\nFWOpcodeVersion=2\n",
                  1045, 0},
        SystemRow{"MissingKey", "BIOSVersion=ABCDEF.01\nFWBootVersion=1\n", 1043, 0},
        SystemRow{"EmptyKey", "BIOSVersion=\nFWBootVersion=1\nFWOpcodeVersion=2\n", 1043, 0},
        SystemRow{"BoardIgnoresFirmware", "BIOSVersion=ABCDEF.01\nFWBootVersion=9\n", 0, 0,
                  "R7740HCA"},
        SystemRow{"BoardNeedsNoFirmware", "BIOSVersion=ABCDEF.01\n", 0, 0, "R7740HCA"},
        SystemRow{"BoardComparesBios", "BIOSVersion=ZBCDEF.01\n", 1044, 0, "R7740HCA"}),
    [](const auto& row) { return row.param.name; });

using SystemChecks = SystemCheckTest;

TEST_F(SystemChecks, AServerThatDoesNotTellAVersionIsNoMatch) {
  const std::string file = "[SYSTEM]\nBIOSVersion=ABCDEF.01\nFWBootVersion=1\nFWOpcodeVersion=2\n";
  engine->tree.erase("/BMC/INFO/BOOT_AREA_VERSION");
  EXPECT_EQ(CodeOfChecked(file), 1042);
  SetServer("CALDRA_PLATFORM", "CALDRA", "R7740HCA");
  EXPECT_EQ(CodeOfChecked(file), 0);
  // The board ends the check behind the first firmware query, not before it.
  EXPECT_EQ(engine->Reads("/BMC/INFO/BOOT_AREA_VERSION"), 2);
  EXPECT_EQ(engine->Reads("/BMC/INFO/VERSION"), 0);
}

TEST_F(SystemChecks, ANearBiosVersionIsOneRecordWithItsFixedPlace) {
  CodeOfChecked("[SYSTEM]\nBIOSVersion=ABCDEF.9\nFWBootVersion=1\nFWOpcodeVersion=2\n");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, 2);
  EXPECT_EQ(records[0].file, "src/modules/save");
  EXPECT_EQ(records[0].function, "ValidateSystemInfo");
  EXPECT_EQ(records[0].line, 479);
  EXPECT_EQ(records[0].text,
            "Warning! The BIOS version in INI file and the BIOS version in the system do not "
            "match. Proceeding anyway");
}

TEST_F(SystemChecks, TheInventoryOfAFileNeedsNoMatchingServer) {
  WriteText(PathOf("x.ini"), "[SYSTEM]\nBIOSVersion=Z\nFWBootVersion=8\nFWOpcodeVersion=9\n");
  std::map<std::string, std::string> info;
  EXPECT_EQ(OpenSaveRestore().GetInventoryFromFile(info, PathOf("x.ini").c_str()), 0);
  EXPECT_THAT(info, ElementsAre(Pair("BIOSVersion", "Z"), Pair("FWBootVersion", "8"),
                                Pair("FWOpcodeVersion", "9")));
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().GetInventoryFromFile(info, PathOf("no.ini").c_str()); }),
            1043);
}

/// Accepts one password in the form of its platform, as a BIOS would.
class PasswordProvider final : public FakeProvider {
 public:
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override {
    FakeProvider::Write(settings, isBios, reserved);
    if (settings.contains("/BIOS/AdminPw")) Refuse();
  }
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override {
    FakeProvider::WriteGroup(path, settings);
    Refuse();
  }

 private:
  static void Refuse() { ErrorManager::Raise(ErrorManager::PasswordRefused, "the test"); }
};

class PasswordCheckTest : public RestoreTest {
 protected:
  PasswordCheckTest() { Mount(engine = std::make_shared<PasswordProvider>()); }

  int CodeWith(const std::string& password, int mode, const std::string& file = "x.ini") {
    SDK::SavenRestoreOptions options = Options(PathOf(file), mode);
    password.copy(options.password, sizeof options.password - 1);
    return CodeOf([&] { OpenSaveRestore().Restore(options); });
  }
};

TEST_F(PasswordCheckTest, NewAndOldPlatformsGetTheirForms) {
  for (const auto& [platform, password, how, settings] :
       {std::tuple{"CALDRA_PLATFORM", "abc", "group(/BIOS/AdminPw)",
                   SDK::SettingMap{{"ADMIN_PW", "abc"}, {"SETVALUE", "abc"}}},
        {"OSKENT_PLATFORM", "abc", "batch(true,false)", {{"/BIOS/AdminPw", "abc-abc"}}},
        {"OSKENT_PLATFORM", "", "batch(true,false)", {{"/BIOS/AdminPw", "-"}}},
        {"",
         "14-characters!",
         "group(/BIOS/AdminPw)",
         {{"ADMIN_PW", "14-characters!"}, {"SETVALUE", "14-characters!"}}}}) {
    SetServer(platform, "CALDRA");
    engine->writes.clear();
    EXPECT_EQ(CodeWith(password, 0), ErrorManager::PasswordRefused);
    ASSERT_EQ(engine->writes.size(), 1U);
    EXPECT_EQ(engine->writes[0].how, how);
    EXPECT_EQ(engine->writes[0].settings, settings);
  }
}

TEST_F(PasswordCheckTest, TheBiosIsAskedFirstAndOnlyForItsModes) {
  SetServer("CALDRA_PLATFORM", "CALDRA");
  for (const int mode : {0, 2}) {
    EXPECT_EQ(CodeWith("x", mode, "wrong.txt"), ErrorManager::PasswordRefused);
  }
  for (const int mode : {1, 3}) EXPECT_EQ(CodeWith("x", mode, "wrong.txt"), 1040);
}

}  // namespace
}  // namespace Test
