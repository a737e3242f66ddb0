// The checks before a restore: [SYSTEM] against the server, and the administrator password.
#include "common/Logger.h"
#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::IsEmpty;

/// A file's [SYSTEM] against a CALDRA server of BIOS ABCDEF.01, boot firmware 1, operational 2.
struct SystemRow {
  const char* name;
  const char* keys;  ///< the values of the BIOS, the boot and the operational firmware; "-": no key
  int code;
  std::size_t warnings = 0;
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

  static std::string File(const std::string& values) {
    std::string text = "[SYSTEM]\n";
    const char* const* key = kKeys;
    for (const std::string& value : Split(values)) {
      if (value != "-") text += std::string(*key) + "=" + value + "\n";
      ++key;
    }
    return text;
  }

  static constexpr const char* kKeys[] = {"BIOSVersion", "FWBootVersion", "FWOpcodeVersion"};
  std::vector<LOGGER::LogRecord> records;

 private:
  LOGGER::Logger::Sink before_;
};

TEST_P(SystemCheckTest, TheFirstDifferenceDecides) {
  SetServer("CALDRA_PLATFORM", "CALDRA", GetParam().board);
  EXPECT_EQ(CodeOfChecked(File(GetParam().keys)), GetParam().code);
  ASSERT_EQ(records.size(), GetParam().warnings);
  EXPECT_THAT(engine->writes, IsEmpty());
  for (const LOGGER::LogRecord& record : records) {
    EXPECT_EQ(std::tie(record.level, record.line), std::make_tuple(2, 479));
    EXPECT_EQ(record.file + " " + record.function, "src/modules/save ValidateSystemInfo");
    EXPECT_EQ(record.text,
              "Warning! The BIOS version in INI file and the BIOS version in the system do not "
              "match. Proceeding anyway");
  }
}

constexpr SystemRow kSystemRows[] = {
    {"Same", "ABCDEF.01|1|2", 0},
    {"NearBios", "ABCDEF.02|1|2", 0, 1},
    {"SixCharacters", "ABCDEF|1|2", 0, 1},
    {"OtherBios", "ABCDEG.01|1|2", 1044},
    {"ShortBios", "ABCDE|1|2", 1044},
    {"BiosCase", "abcdef.01|1|2", 1044},
    {"OtherBoot", "ABCDEF.01|9|2", 1045},
    {"NearBiosThenFirmware", "ABCDEF.02|1|9", 1045, 1},
    {"LongFirmware", "ABCDEF.01|1.0|2", 1045},  // six characters are enough for the BIOS alone
    {"MissingKey", "ABCDEF.01|1|-", 1043},
    {"EmptyKey", "|1|2", 1043},
    {"BoardIgnoresFirmware", "ABCDEF.01|9|-", 0, 0, "R7740HCA"},
    {"BoardNeedsNoFirmware", "ABCDEF.01|-|-", 0, 0, "R7740HCA"},
    {"BoardComparesBios", "ZBCDEF.01|-|-", 1044, 0, "R7740HCA"},
};
INSTANTIATE_TEST_SUITE_P(Rows, SystemCheckTest, ::testing::ValuesIn(kSystemRows), kNameOfRow);

TEST_F(SystemCheckTest, AServerThatDoesNotTellAVersionIsNoMatch) {
  engine->tree.erase("/BMC/INFO/BOOT_AREA_VERSION");
  EXPECT_EQ(CodeOfChecked(File("ABCDEF.01|1|2")), 1042);
  EXPECT_EQ(CodeOfChecked(File("-|-|-")), 1042);  // the server is asked first
  SetServer("CALDRA_PLATFORM", "CALDRA", "R7740HCA");
  EXPECT_EQ(CodeOfChecked(File("ABCDEF.01|1|2")), 0);
  // The board ends the check behind the first firmware query, not before it.
  EXPECT_EQ(engine->Reads("/BMC/INFO/BOOT_AREA_VERSION"), 3);
  EXPECT_EQ(engine->Reads("/BMC/INFO/VERSION"), 0);
}

TEST_F(SystemCheckTest, AVersionIsComparedWhole) {
  const std::string longest(127, 'a');
  engine->Set("/BMC/INFO/VERSION", longest + "b");
  EXPECT_EQ(CodeOfChecked(File("ABCDEF.01|1|" + longest + "b")), 0);
  EXPECT_EQ(CodeOfChecked(File("ABCDEF.01|1|" + longest + "c")), 1045);
}

TEST_F(SystemCheckTest, TheInventoryOfAFileNeedsNoMatchingServer) {
  WriteText(PathOf("x.ini"), File("Z|8|9"));
  std::map<std::string, std::string> info;
  EXPECT_EQ(OpenSaveRestore().GetInventoryFromFile(info, PathOf("x.ini").c_str()), 0);
  EXPECT_EQ(info, SettingsBelow("", "BIOSVersion=Z|FWBootVersion=8|FWOpcodeVersion=9"));
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
  const std::string group = "group(/BIOS/AdminPw)";
  for (const auto& [platform, password, how, settings] :
       {std::tuple{"CALDRA_PLATFORM", "abc", group, "ADMIN_PW=abc|SETVALUE=abc"},
        {"OSKENT_PLATFORM", "abc", "batch(true,false)", "/BIOS/AdminPw=abc-abc"},
        {"OSKENT_PLATFORM", "", "batch(true,false)", "/BIOS/AdminPw=-"},
        {"", "14-characters!", group, "ADMIN_PW=14-characters!|SETVALUE=14-characters!"}}) {
    SetServer(platform, "CALDRA");
    engine->writes.clear();
    EXPECT_EQ(CodeWith(password, 0), ErrorManager::PasswordRefused);
    ASSERT_EQ(engine->writes.size(), 1U);
    EXPECT_EQ(engine->writes[0].how, how);
    EXPECT_EQ(engine->writes[0].settings, SettingsBelow("", settings));
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
