// Firmware attributes as settings: what is read, what is refused, what becomes of each write.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "HostTest.h"

namespace Test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::StartsWith;

/// One attribute of each type, as different drivers show them.
class FirmwareAttributesTest : public HostTest {
 protected:
  FirmwareAttributesTest() {
    SetEnumeration("Quiet", "Enabled", "Disabled;Enabled;");
    SetEnumeration("Comma", "One", "One,Two, Three");
    SetEnumeration("Mixed", "a, b", "a, b;c");
    Set("Tag", "x", {{"type", "string"}, {"min_length", "0"}, {"max_length", "3"}});
    host.SetControl(kDriver, "pending_reboot", "0");
  }
};

TEST_F(FirmwareAttributesTest, EachDriverIsAMenuOfSettingsWithTheirChoices) {
  host.SetAttribute("other", "Lone", {{"current_value", "v"}});
  std::filesystem::create_directories(host.DriverFolder("silent") / "attributes");
  for (const char* control : {"reset_bios", "save_settings", "debug_cmd"}) Set(control, "single");
  const NodeMap nodes = Read("/BIOS");
  EXPECT_THAT(nodes.at("/BIOS").values, ElementsAre("/BIOS/Advanced"));
  EXPECT_THAT(nodes.at("/BIOS/Advanced").values, ElementsAre(kMenu, "/BIOS/Advanced/other"));
  EXPECT_THAT(nodes.at(kMenu).values,
              ElementsAre(At("Comma"), At("Mixed"), At("Quiet"), At("Tag")));
  for (const char* menu : {"/BIOS", "/BIOS/Advanced", kMenu}) EXPECT_EQ(nodes.at(menu).kind, 1);
  EXPECT_THAT(nodes.at(At("Comma")).options,
              ElementsAre(Pair("One", "One"), Pair("Three", "Three"), Pair("Two", "Two")));
  EXPECT_THAT(nodes.at(At("Mixed")).options, ElementsAre(Pair("a, b", "a, b"), Pair("c", "c")));
  EXPECT_EQ(Value(At("Quiet")), "Enabled");
  EXPECT_EQ(Value("/BIOS/Advanced/other/Lone"), "v");
}

TEST_F(FirmwareAttributesTest, DisplayNamesBecomePathsThatAreToldApart) {
  Set("One", "1", {{"display_name", "I/O  Port"}});
  Set("Two", "2", {{"display_name", "Same"}});
  Set("Three", "3", {{"display_name", "Same"}});
  EXPECT_EQ(Value(At("I%2FO Port")), "1");
  EXPECT_EQ(Value(At("Same (Two)")), "2");
  EXPECT_EQ(Write({{"Same (Three)", "new"}}), "0");
  EXPECT_EQ(host.Value(kDriver, "Three"), "new");
  EXPECT_EQ(host.Value(kDriver, "Two"), "2");
}

TEST_F(FirmwareAttributesTest, AValueThatCannotBeToldIsLeftOutOfSaves) {
  Set("Latin", "\xE4");
  host.SetValueDevice(kDriver, "Endless", "/dev/zero");
  host.SetAttribute(kDriver, "Valueless", {{"type", "string"}});
  for (const char* name : {"Latin", "Endless", "Valueless"}) {
    const _XNode node = Read(At(name)).at(At(name));
    EXPECT_TRUE(node.flag) << name;
    EXPECT_THAT(node.values, IsEmpty()) << name;
  }
}

TEST_F(FirmwareAttributesTest, LimitsAreReadInTheWordsOfEveryDriver) {
  struct Row {
    std::map<std::string, std::string> files;
    const char* words;
  };
  const Row rows[] = {
      {{{"type", "integer"}, {"min_value", "-2"}, {"max_value", "10"}, {"scalar_increment", "3"}},
       "-2 to 10 in steps of 3"},
      {{{"type", "integer"}, {"lower_bound", "1"}, {"upper_bound", "9"}}, "1 to 9"},
      {{{"min_value", "1"}, {"scalar_increment", "1"}}, "at least 1"},
      {{{"type", "integer"}, {"min_value", "5"}, {"max_value", "1"}}, ""},
      {{{"type", "integer"}, {"min_value", "none"}, {"scalar_increment", "-4"}}, ""},
      {{{"type", "string"}, {"min_length", "1"}, {"max_length", "8"}}, "1 to 8 characters"},
      {{{"type", "string"}, {"min_length", "0"}, {"max_length", "0"}}, ""},
      {{{"type", "string"}, {"min_value", "7"}}, ""},
  };
  for (const Row& row : rows) {
    std::filesystem::remove_all(host.DriverFolder(kDriver));
    Set("Item", "5", row.files);
    provider->Refresh();
    EXPECT_EQ(Query::Describe(Read(At("Item")).at(At("Item")).limits), row.words);
  }
  Set("Wide", "x", {{"type", "string"}, {"max_length", "3"}});
  EXPECT_THAT(Write({{"Wide", "äö"}}), HasSubstr("at most 3 bytes")) << "the kernel counts them";
}

TEST_F(FirmwareAttributesTest, AnOrderedListIsItsElements) {
  Set("Order", "CD, Disk,Net", {{"type", "ordered-list"}, {"elements", "CD;Disk;Net"}});
  EXPECT_EQ(Value(At("Order")), "CD;Disk;Net");
  EXPECT_EQ(Write({{"Order", "CD,Disk,Net"}}), "0");
  EXPECT_THAT(driver.log, IsEmpty()) << "another separator is no other value";
  EXPECT_EQ(Write({{"Order", "Net;CD;Disk"}}), "0");
  EXPECT_THAT(driver.log, ElementsAre("Order=Net,CD,Disk")) << "in the driver's own form";
  EXPECT_THAT(TakeNotes(), IsEmpty());
  for (const char* wrong : {"Net;CD", "Net;CD;CD", "Net;CD;Disk;USB"}) {
    EXPECT_THAT(Write({{"Order", wrong}}), HasSubstr("it must have each of CD;Disk;Net once"));
  }
}

TEST_F(FirmwareAttributesTest, WhatBecomesOfEachWriteIsSaid) {
  for (const char* name : {"Locked", "Full", "Kept"}) Set(name, "0");
  driver.errors = {{"Locked", EACCES}, {"Full", ENOSPC}};
  driver.ignored = {"Kept"};
  EXPECT_THAT(Write({{"Full", "1"}, {"Kept", "1"}, {"Locked", "1"}, {"Tag", "y"}}),
              HasSubstr("3 of 4 settings could not be written"));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Full", "refused: No space left on device"),
                                       Pair("Kept", "ignored: the firmware kept its value"),
                                       Pair("Locked",
                                            "refused: the firmware keeps it locked: Permission "
                                            "denied")));
  EXPECT_EQ(host.Value(kDriver, "Tag"), "y");
  host.SetControl(kDriver, "pending_reboot", "1");
  driver.errors.clear();
  EXPECT_EQ(Write({{"Full", "1"}, {"Kept", "1"}, {"Comma", "One"}}), "0");
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Full", "pending: the firmware waits for a restart"),
                                       Pair("Kept", HasSubstr("pending: to be verified"))));
}

// --- Settings that depend on others

TEST_F(FirmwareAttributesTest, WhatIsRefusedIsTriedOnceMoreAfterTheRest) {
  driver.after = {{"Comma", "Quiet=Disabled"}, {"Mixed", "Never=1"}};
  EXPECT_THAT(Write({{"Comma", "Two"}, {"Mixed", "c"}, {"Quiet", "Disabled"}}),
              HasSubstr("1 of 3"));
  EXPECT_THAT(driver.log,
              ElementsAre("Comma=Two", "Mixed=c", "Quiet=Disabled", "Comma=Two", "Mixed=c"));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Mixed", HasSubstr("locked"))));
  driver.log.clear();
  EXPECT_THAT(Write({{"Mixed", "c"}}), HasSubstr("1 of 1"));
  EXPECT_THAT(driver.log, ElementsAre("Mixed=c")) << "nothing has changed for it";
}

TEST_F(FirmwareAttributesTest, TermsAreWorkedOutWhereTheyCanBe) {
  struct Row {
    const char* file;
    const char* terms;   ///< of "Tag", beside "Quiet", which is "Enabled"
    bool quietToo;       ///< "Quiet" is written, too
    const char* reason;  ///< why "Tag" is refused
    const char* log;     ///< what goes out
  };
  const Row rows[] = {
      {"dell_modifier", "[ReadOnlyIf:Quiet=Enabled];", false,
       "it is read-only while Quiet is Enabled", ""},
      {"modifier", "[SuppressIfNot:Quiet=Disabled]", false,
       "it has no effect while Quiet is not Disabled", ""},
      {"dell_value_modifier", "z[ForceIf:Quiet=Enabled];", false,
       "the firmware makes it z while Quiet is Enabled", ""},
      {"value_modifier", "y[ForceIf:Quiet=Enabled];", false, "", "Tag=y"},
      {"dell_modifier", "[ReadOnlyIf:Quiet=Disabled];[SuppressIf:Quiet=Off];", false, "", "Tag=y"},
      {"dell_modifier", "[ReadOnlyIf:Quiet=Disabled]", true, "", "Tag=y Quiet=Disabled"},
      {"dell_modifier", "[ReadOnlyIf:Quiet=Enabled]", true, "", "Quiet=Disabled Tag=y"},
      {"dell_value_modifier", "z[ForceIf:Quiet=Disabled]", true,
       "the firmware makes it z while Quiet is Disabled", "Quiet=Disabled"},
      {"dell_modifier", "[ReadOnlyIf:Elsewhere=1]", false, "", "Tag=y"},
  };
  for (const Row& row : rows) {
    std::filesystem::remove_all(host.DriverFolder(kDriver));
    SetEnumeration("Quiet", "Enabled", "Disabled;Enabled");
    Set("Tag", "x", {{row.file, row.terms}});
    driver.log.clear();
    SDK::SettingMap batch{{"Tag", "y"}};
    if (row.quietToo) batch["Quiet"] = "Disabled";
    EXPECT_EQ(Write(batch) == "0", row.reason == std::string()) << row.terms;
    std::string log;
    for (const std::string& line : driver.log) log += (log.empty() ? "" : " ") + line;
    EXPECT_EQ(log, row.log) << row.terms;
    const auto notes = TakeNotes();
    EXPECT_EQ(notes.contains("Tag") ? notes.at("Tag") : "refused: ",
              std::string("refused: ") + row.reason);
  }
}

TEST_F(FirmwareAttributesTest, TermsThatNobodyCanWorkOutAreShown) {
  Set("Tag", "x",
      {{"dell_modifier", "[ReadOnlyIf:Quiet=Enabled][SuppressIf:Elsewhere=1]; [Odd]x"},
       {"dell_value_modifier", "[ForceIf:Quiet=Enabled]"}});
  EXPECT_EQ(Read(At("Tag")).at(At("Tag")).remark,
            "depends on others: [Odd] x [ForceIf:Quiet=Enabled] [SuppressIf:Elsewhere=1]");
  EXPECT_EQ(Read(At("Quiet")).at(At("Quiet")).remark, "");
}

// --- Drivers that save many writes in one go

TEST_F(FirmwareAttributesTest, ManyWritesAreSavedInOneGoWhereADriverCan) {
  SDK::SettingMap batch;
  const auto writeMany = [&](int count, const char* value) {
    host.SetControl(kDriver, "save_settings", "single");
    host.SetControl(kDriver, "pending_reboot", "0");
    driver.log.clear();
    batch.clear();
    for (int number = 0; number < count; ++number) {
      Set("Many" + std::to_string(number), "a");
      batch["Many" + std::to_string(number)] = value;
    }
    return Write(batch);
  };
  EXPECT_EQ(writeMany(40, "b"), "0");
  EXPECT_EQ(driver.log.size(), 40U) << "a few are saved one by one";
  EXPECT_EQ(writeMany(41, "c"), "0");
  EXPECT_EQ(driver.log.front(), "save_settings=bulk");
  EXPECT_EQ(driver.log.back(), "save_settings=save");
  EXPECT_EQ(host.Value(kDriver, "Many7"), "c");

  driver.errors = {{"save_settings", EIO}};
  EXPECT_EQ(writeMany(41, "d"), "0") << "it cannot be put into that mode: one by one then";
  host.SetControl(kDriver, "save_settings", "bulk");
  EXPECT_THAT(Write({{"Tag", "y"}}), HasSubstr("it was not saved: Input/output error"));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Tag", HasSubstr("refused"))))
      << "although the driver shows the value";

  host.SetControl(kDriver, "pending_reboot", "1");
  driver.log.clear();
  EXPECT_THAT(Write({{"Tag", "z"}}), HasSubstr("takes no other before a restart"));
  EXPECT_THAT(driver.log, IsEmpty());
}

// --- The administrator password

class AdminPasswordTest : public FirmwareAttributesTest {
 protected:
  AdminPasswordTest() {
    host.SetAdmin(kDriver, true);
    driver.password = "secret";
  }

  int Checked(const std::string& password) {
    return CodeOf([&] {
      provider->WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", password}, {"SETVALUE", password}});
    });
  }
};

TEST_F(AdminPasswordTest, ACheckKnowsWhetherAndOfWhatLengthOneIsSet) {
  EXPECT_EQ(Checked("secret"), 0);
  EXPECT_EQ(Checked(""), ErrorManager::PasswordRefused);
  const auto admin = host.PasswordFile(kDriver).parent_path();
  WriteText(admin / "min_password_length", "7\n");
  EXPECT_THAT(Write({{"Tag", "y"}}, "secret"), HasSubstr("too short: those of this firmware have "
                                                         "at least 7 characters"));
  WriteText(admin / "min_password_length", "1\n");
  WriteText(admin / "max_password_length", "5\n");
  EXPECT_THAT(Write({{"Tag", "y"}}, "secret"), HasSubstr("too long"));
  EXPECT_THAT(driver.log, IsEmpty()) << "a check tells the driver nothing";
  host.SetAdmin(kDriver, false);
  EXPECT_EQ(Checked("secret"), ErrorManager::PasswordRefused);
}

TEST_F(AdminPasswordTest, TheDriverHasItForTheTimeOfTheWritesOnlyAndBeforeEachWhereItForgets) {
  const SDK::SettingMap batch{{"Comma", "Two"}, {"Quiet", "Disabled"}, {"Tag", "y"}};
  driver.isForgetful = true;
  EXPECT_EQ(Write(batch, "secret"), "0");
  EXPECT_THAT(driver.log, ElementsAre("password=secret", "Comma=Two", "password=secret",
                                      "Quiet=Disabled", "password=secret", "Tag=y", "password="));
  EXPECT_EQ(driver.wrongPasswords, 0);
  EXPECT_EQ(driver.held, "");

  std::filesystem::rename(host.DriverFolder(kDriver), host.DriverFolder("thinklmi"));
  driver.isForgetful = false;
  driver.log.clear();
  provider->WriteAuthorised(
      {{"/BIOS/Advanced/thinklmi/Tag", "z"}, {"/BIOS/Advanced/thinklmi/Comma", "One"}}, "secret");
  EXPECT_THAT(driver.log, ElementsAre("password=secret", "Comma=One", "Tag=z", "password="));
}

TEST_F(AdminPasswordTest, AWrongOneIsTriedOnceAndNothingIsWritten) {
  for (const int error : {EACCES, EPERM, EINVAL}) {
    driver.wrongError = error;
    driver.wrongPasswords = 0;
    EXPECT_THAT(Write({{"Comma", "Two"}, {"Quiet", "Disabled"}, {"Tag", "y"}}, "guess"),
                AllOf(StartsWith(std::to_string(ErrorManager::PasswordRefused)),
                      HasSubstr("Comma/current_value"), HasSubstr("1 attempt is used up"),
                      Not(HasSubstr("guess")), Not(HasSubstr("forget"))));
    EXPECT_EQ(driver.wrongPasswords, 1);
    EXPECT_EQ(driver.held, "");
    EXPECT_EQ(host.Value(kDriver, "Quiet"), "Enabled");
  }
}

TEST_F(AdminPasswordTest, ARightOneIsNotDoubtedForALaterRefusal) {
  driver.errors = {{"Quiet", EACCES}};
  EXPECT_THAT(Write({{"Comma", "Two"}, {"Quiet", "Disabled"}, {"Tag", "y"}}, "secret"),
              HasSubstr("1 of 3 settings could not be written"));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Quiet", HasSubstr("the firmware keeps it locked"))));
  EXPECT_EQ(driver.held, "");
}

TEST_F(AdminPasswordTest, ASaveOfManyThatIsDeniedIsAboutThePassword) {
  host.SetControl(kDriver, "save_settings", "bulk");
  driver.errors = {{"save_settings", EACCES}};
  EXPECT_THAT(Write({{"Tag", "y"}}, "secret"),
              StartsWith(std::to_string(ErrorManager::PasswordRefused)));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair("Tag", HasSubstr("refused: it was not saved"))));
}

TEST_F(AdminPasswordTest, ItIsTakenBackFromDriversThatTakeNoShortOne) {
  driver.shortest = 2;
  driver.longest = 6;  // the line end would be one too many
  EXPECT_EQ(Write({{"Tag", "y"}}, "secret"), "0");
  EXPECT_THAT(driver.log,
              ElementsAre("password=secret", "password=secret", "Tag=y", "password=", "password="));
  EXPECT_EQ(driver.held, "");
  driver.longest = 3;
  EXPECT_THAT(Write({{"Tag", "z"}}, "secret"), HasSubstr("no attempt was used up"));
  EXPECT_EQ(driver.wrongPasswords, 0);
}

TEST_F(AdminPasswordTest, ThatItCannotBeTakenBackIsSaid) {
  const auto write = [&](const char* password) {
    Host::HostRoots roots{host.Sysfs(), host.Efivarfs(), {}};
    roots.write = [this](const auto& file, auto bytes) {
      return bytes == "\n" ? EIO : driver.Write(file, bytes);
    };
    provider = std::make_shared<Host::HostProvider>(roots);
    return Write({{"Tag", "y"}}, password);
  };
  const char* said = "the driver could not be made to forget it: Input/output error";
  EXPECT_THAT(write("guess"), AllOf(StartsWith("2054"), HasSubstr(said)));
  EXPECT_THAT(write("secret"), AllOf(StartsWith("2057"), HasSubstr(said)));
}

TEST_F(AdminPasswordTest, TheFolderIsKnownByItsRoleAndACheckServesTheBatchBehindIt) {
  const std::filesystem::path setup = host.DriverFolder(kDriver) / "authentication/Setup";
  std::filesystem::create_directories(setup);
  WriteText(setup / "role", "bios-admin\n");
  WriteText(setup / "is_enabled", "1\n");
  host.SetAdmin(kDriver, false);
  driver.password = "a-b";
  const auto write = [&](const char* value) {
    return CodeOf([&] { provider->Write({{At("Tag"), value}}, true, false); });
  };
  EXPECT_EQ(write("y"), ErrorManager::PasswordRefused);
  provider->Write({{"/BIOS/AdminPw", "a-b-a-b"}}, true, false);
  EXPECT_EQ(write("y"), 0);
  EXPECT_EQ(host.Value(kDriver, "Tag"), "y");
  EXPECT_EQ(write("z"), ErrorManager::PasswordRefused) << "one batch only";
}

// --- An independent reader

TEST_F(FirmwareAttributesTest, AnotherProgramReadsTheSameSettings) {
  if (RunShell("command -v fwupdtool >/dev/null") != 0) GTEST_SKIP() << "fwupdtool is not here";
  Set("Count", "4",
      {{"type", "integer"},
       {"display_name", "Count"},
       {"min_value", "1"},
       {"max_value", "10"},
       {"scalar_increment", "3"}});
  EXPECT_EQ(Write({{"Quiet", "Disabled"}, {"Count", "10"}, {"Tag", "ab"}}), "0");
  const std::string command =
      "FWUPD_SYSFSFWATTRIBDIR='" + host.DriverFolder("").parent_path().string() +
      "' fwupdtool get-bios-settings --json >'" + PathOf("settings.json") + "' 2>/dev/null";
  ASSERT_EQ(RunShell(command), 0);
  const auto document = nlohmann::json::parse(ReadText(PathOf("settings.json")));
  std::map<std::string, std::string> theirs;
  for (const auto& setting : document.at("BiosSettings")) {
    theirs[setting.at("Name")] = setting.at("BiosSettingCurrentValue");
  }
  for (const char* name : {"Comma", "Count", "Mixed", "Quiet", "Tag"}) {
    EXPECT_EQ(theirs[name], Value(At(name))) << name;
  }
  EXPECT_EQ(theirs["Quiet"], "Disabled");
}

}  // namespace
}  // namespace Test
