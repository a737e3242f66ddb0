// Firmware attributes as settings: what is read, what is refused, what becomes of each write.
#include "providers/host/FirmwareAttributes.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "HostTest.h"
#include "common/Descriptor.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

/// One attribute of each type, as different drivers show them.
class FirmwareAttributesTest : public HostTest {
 protected:
  FirmwareAttributesTest() {
    SetEnumeration("Quiet", "Enabled", "Disabled;Enabled;");
    SetEnumeration("Comma", "One", "One,Two, Three");
    SetEnumeration("Mixed", "a, b", "a, b;c");
    host.SetAttribute(kDriver, "Count",
                      {{"type", "integer"},
                       {"current_value", "4"},
                       {"min_value", "-2"},
                       {"max_value", "10"},
                       {"scalar_increment", "3"}});
    host.SetAttribute(
        kDriver, "Tag",
        {{"type", "string"}, {"current_value", "x"}, {"min_length", "0"}, {"max_length", "3"}});
    host.SetPendingReboot(kDriver, "0");
  }

  [[nodiscard]] static std::string At(const std::string& name) {
    return std::string(kMenu) + "/" + name;
  }
};

TEST_F(FirmwareAttributesTest, EachDriverIsAMenuOfSettingsWithTheirChoices) {
  host.SetAttribute("other", "Lone", {{"current_value", "v"}});
  std::filesystem::create_directories(host.DriverFolder("silent") / "attributes");
  const NodeMap nodes = Read("/BIOS");
  EXPECT_THAT(nodes.at("/BIOS").values, ElementsAre("/BIOS/Advanced"));
  EXPECT_THAT(nodes.at("/BIOS/Advanced").values, ElementsAre(kMenu, "/BIOS/Advanced/other"));
  EXPECT_THAT(nodes.at(kMenu).values,
              ElementsAre(At("Comma"), At("Count"), At("Mixed"), At("Quiet"), At("Tag")));
  for (const char* menu : {"/BIOS", "/BIOS/Advanced", kMenu}) EXPECT_EQ(nodes.at(menu).kind, 1);
  EXPECT_THAT(nodes.at(At("Comma")).options,
              ElementsAre(Pair("One", "One"), Pair("Three", "Three"), Pair("Two", "Two")));
  EXPECT_THAT(nodes.at(At("Mixed")).options, ElementsAre(Pair("a, b", "a, b"), Pair("c", "c")));
  EXPECT_THAT(nodes.at(At("Quiet")).options,
              ElementsAre(Pair("Disabled", "Disabled"), Pair("Enabled", "Enabled")));
  EXPECT_EQ(Value(At("Quiet")), "Enabled");
  EXPECT_EQ(Value("/BIOS/Advanced/other/Lone"), "v");
}

TEST_F(FirmwareAttributesTest, ControlsOfTheDriverAreNoSettings) {
  host.SetAttribute(kDriver, "reset_bios", {{"current_value", "builtinsafe"}});
  host.SetAttribute(kDriver, "save_settings", {{"current_value", "single"}});
  EXPECT_EQ(Read(kMenu).size(), 6U);
}

TEST_F(FirmwareAttributesTest, DisplayNamesBecomePathsThatAreToldApart) {
  host.SetAttribute(kDriver, "One", {{"current_value", "1"}, {"display_name", "I/O  Port"}});
  host.SetAttribute(kDriver, "Two", {{"current_value", "2"}, {"display_name", "Same"}});
  host.SetAttribute(kDriver, "Three", {{"current_value", "3"}, {"display_name", "Same"}});
  EXPECT_EQ(Value(At("I%2FO Port")), "1");
  EXPECT_EQ(Value(At("Same (Two)")), "2");
  EXPECT_EQ(Value(At("Same (Three)")), "3");
  provider->WriteAuthorised({{At("Same (Three)"), "new"}}, "");
  EXPECT_EQ(host.Value(kDriver, "Three"), "new");
  EXPECT_EQ(host.Value(kDriver, "Two"), "2");
}

TEST_F(FirmwareAttributesTest, AValueThatCannotBeToldIsLeftOutOfSaves) {
  host.SetAttribute(kDriver, "Latin", {{"current_value", "\xE4"}});
  host.SetValueDevice(kDriver, "Endless", "/dev/zero");
  host.SetAttribute(kDriver, "Valueless", {{"type", "string"}});
  for (const char* name : {"Latin", "Endless", "Valueless"}) {
    const _XNode node = Read(At(name)).at(At(name));
    EXPECT_TRUE(node.flag) << name;
    EXPECT_THAT(node.values, IsEmpty()) << name;
  }
}

struct Refusal {
  const char* name;
  const char* path;
  const char* value;
  int code;
  const char* reason;
};

class RefusalTest : public FirmwareAttributesTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, OneValueThatCannotBeStopsTheBatchBeforeTheFirstWrite) {
  SDK::SettingMap batch{{At("Comma"), "Two"}, {GetParam().path, GetParam().value}};
  std::string message;
  try {
    provider->WriteAuthorised(batch, "");
  } catch (const ResultStatus& failure) {
    EXPECT_EQ(failure.getval(), GetParam().code);
    message = failure.message();
  }
  EXPECT_THAT(message, HasSubstr(GetParam().path));
  EXPECT_THAT(message, HasSubstr(GetParam().reason));
  EXPECT_EQ(host.Value(kDriver, "Comma"), "One");
}

constexpr const char* kBounds = "a number, at least -2, at most 10, in steps of 3";
constexpr const char* kLength = "at least 0, at most 3";
INSTANTIATE_TEST_SUITE_P(
    Values, RefusalTest,
    ::testing::Values(
        Refusal{"Unknown", "/BIOS/Advanced/board/None", "1", ErrorManager::NoSuchNode, ""},
        Refusal{"NoOption", "/BIOS/Advanced/board/Quiet", "enabled", ErrorManager::ValueRefused,
                "not among the options"},
        Refusal{"EmptyOption", "/BIOS/Advanced/board/Quiet", "", ErrorManager::ValueRefused,
                "not among the options"},
        Refusal{"NoNumber", "/BIOS/Advanced/board/Count", "7x", ErrorManager::ValueRefused,
                kBounds},
        Refusal{"TooSmall", "/BIOS/Advanced/board/Count", "-5", ErrorManager::ValueRefused,
                kBounds},
        Refusal{"TooLarge", "/BIOS/Advanced/board/Count", "13", ErrorManager::ValueRefused,
                kBounds},
        Refusal{"OffStep", "/BIOS/Advanced/board/Count", "8", ErrorManager::ValueRefused, kBounds},
        Refusal{"TooLong", "/BIOS/Advanced/board/Tag", "abcd", ErrorManager::ValueRefused, kLength},
        Refusal{"TwoLines", "/BIOS/Advanced/board/Tag", "a\nb", ErrorManager::ValueRefused,
                "one line"},
        Refusal{"Menu", "/BIOS/Advanced/board", "1", ErrorManager::ValueRefused, "other nodes"},
        Refusal{"Fact", "/BIOS/UEFI231Aware", "False", ErrorManager::ReadOnlyNode, ""}),
    [](const auto& row) { return row.param.name; });

TEST_F(FirmwareAttributesTest, WhatFitsIsWrittenAndReadBack) {
  EXPECT_EQ(Value(At("Count")), "4");
  provider->WriteAuthorised({{At("Count"), "-2"},
                             {At("Tag"), ""},
                             {At("Quiet"), "Disabled"},
                             {"/BIOS/Advanced/board/None", ""}},
                            "");
  EXPECT_EQ(Value(At("Count")), "-2");
  EXPECT_EQ(Value(At("Tag")), "");
  EXPECT_EQ(Value(At("Quiet")), "Disabled");
  EXPECT_EQ(ReadText(host.ValueFile(kDriver, "Count")), "-2\n");
  provider->WriteGroup(kMenu, {{"Count", "10"}});
  EXPECT_EQ(Value(At("Count")), "10") << "a longer and a shorter text leave nothing of the other";
  provider->Write({{At("Count"), "1"}}, true, false);
  EXPECT_EQ(ReadText(host.ValueFile(kDriver, "Count")), "1\n");
  EXPECT_THAT(TakeNotes(), IsEmpty());
}

TEST_F(FirmwareAttributesTest, ASettingThatIsRefusedOrIgnoredIsNamedAndTheOthersAreWritten) {
  host.SetValueDevice(kDriver, "Full", "/dev/full");
  host.SetValueDevice(kDriver, "Null", "/dev/null");
  host.SetValueDevice(kDriver, "Denied", "/proc/self/uid_map");
  host.SetAttribute(kDriver, "Fixed", {{"current_value", "a"}});
  std::filesystem::permissions(host.ValueFile(kDriver, "Fixed"),
                               std::filesystem::perms::owner_read);
  const SDK::SettingMap batch{{At("Denied"), "1"},
                              {At("Fixed"), "b"},
                              {At("Full"), "1"},
                              {At("Null"), "1"},
                              {At("Tag"), "y"}};
  std::string message;
  try {
    provider->WriteAuthorised(batch, "");
  } catch (const ResultStatus& failure) {
    EXPECT_EQ(failure.getval(), ErrorManager::WritesRefused);
    message = failure.message();
  }
  EXPECT_THAT(message, HasSubstr("4 of 5 settings could not be written"));
  EXPECT_THAT(TakeNotes(), ElementsAre(Pair(At("Denied"), "refused: Operation not permitted"),
                                       Pair(At("Fixed"), "refused: it is read-only"),
                                       Pair(At("Full"), "refused: No space left on device"),
                                       Pair(At("Null"), "ignored: the firmware kept its value")));
  EXPECT_THAT(TakeNotes(), IsEmpty());
  EXPECT_EQ(host.Value(kDriver, "Tag"), "y");
}

TEST_F(FirmwareAttributesTest, WritesThatWaitForARestartArePending) {
  host.SetPendingReboot(kDriver, "1");
  host.SetValueDevice(kDriver, "Later", "/dev/null");
  provider->WriteAuthorised({{At("Tag"), "y"}, {At("Later"), "1"}, {At("Comma"), "One"}}, "");
  EXPECT_THAT(TakeNotes(),
              ElementsAre(Pair(At("Later"), "pending: the firmware waits for a restart"),
                          Pair(At("Tag"), "pending: the firmware waits for a restart")));
}

TEST_F(FirmwareAttributesTest, ManyWritesAreSavedInOneGoWhereADriverCan) {
  const std::filesystem::path control = host.DriverFolder(kDriver) / "attributes/save_settings";
  WriteText(control, "single\n");
  SDK::SettingMap batch;
  for (int number = 0; number < 40; ++number) {
    const std::string name = "Many" + std::to_string(number);
    host.SetAttribute(kDriver, name, {{"current_value", "a"}});
    batch[At(name)] = "b";
  }
  provider->WriteAuthorised(batch, "");
  EXPECT_EQ(ReadText(control), "single\n");
  for (auto& [path, value] : batch) value = "c";
  batch[At("Tag")] = "c";
  provider->WriteAuthorised(batch, "");
  EXPECT_EQ(ReadText(control), "save\n");
  EXPECT_EQ(host.Value(kDriver, "Many7"), "c");
}

// --- The administrator password

/// The driver's side of its password file, a pipe: what comes in, each with the value that a
/// setting has at that moment.
class PasswordPipe {
 public:
  PasswordPipe(const FakeHost& host, const std::string& driver, const std::string& setting)
      : host_(host), driver_(driver), setting_(setting) {
    const std::string file = host.PasswordFile(driver);
    std::filesystem::remove(file);
    mkfifo(file.c_str(), 0600);
    pipe_ = std::make_unique<Common::Descriptor>(open(file.c_str(), O_RDWR | O_CLOEXEC));
    reader_ = std::thread([this] { Follow(); });
  }
  ~PasswordPipe() { End(); }

  std::vector<std::string> Seen() {
    End();
    return seen_;
  }

 private:
  void End() {
    if (!reader_.joinable()) return;
    static_cast<void>(!write(pipe_->Get(), "!", 1));
    reader_.join();
  }
  void Follow() {
    std::string line;
    for (char next = 0; read(pipe_->Get(), &next, 1) == 1 && next != '!';) {
      line += next;
      if (next != '\n') continue;
      line.back() = '=';
      seen_.push_back(std::exchange(line, {}) + host_.Value(driver_, setting_));
    }
  }

  const FakeHost& host_;
  std::string driver_;
  std::string setting_;
  std::unique_ptr<Common::Descriptor> pipe_;
  std::vector<std::string> seen_;
  std::thread reader_;
};

class AdminPasswordTest : public FirmwareAttributesTest {
 protected:
  int Checked(const std::string& password) {
    const int inTwo = CodeOf([&] {
      provider->WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", password}, {"SETVALUE", password}});
    });
    const int inOne = CodeOf([&] {
      provider->Write({{"/BIOS/AdminPw", password + "-" + password}}, true, false);
    });
    EXPECT_EQ(inTwo, inOne);
    return inTwo;
  }
};

TEST_F(AdminPasswordTest, ACheckKnowsWhetherOneIsSet) {
  EXPECT_EQ(Checked(""), 0);
  EXPECT_EQ(Checked("secret"), ErrorManager::PasswordRefused);
  host.SetAdmin(kDriver, false);
  EXPECT_EQ(Checked(""), 0);
  host.SetAdmin(kDriver, true);
  EXPECT_EQ(Checked(""), ErrorManager::PasswordRefused);
  EXPECT_EQ(Checked("secret"), 0);
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{"/BIOS/AdminPw", "ab-ac"}}, true, false);
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(ReadText(host.PasswordFile(kDriver)), "") << "a check tells the driver nothing";
}

TEST_F(AdminPasswordTest, TheDriverKnowsThePasswordForTheTimeOfTheWritesOnly) {
  host.SetAdmin(kDriver, true);
  PasswordPipe pipe(host, kDriver, "Quiet");
  provider->WriteAuthorised({{At("Quiet"), "Disabled"}}, "secret");
  EXPECT_EQ(host.Value(kDriver, "Quiet"), "Disabled");
  const std::vector<std::string> seen = pipe.Seen();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_THAT(seen[0], HasSubstr("secret="));
  EXPECT_EQ(seen[1], "=Disabled");
}

TEST_F(AdminPasswordTest, TheFolderIsKnownByItsRole) {
  const std::filesystem::path setup = host.DriverFolder(kDriver) / "authentication/Setup";
  std::filesystem::create_directories(setup);
  WriteText(setup / "role", "bios-admin\n");
  WriteText(setup / "is_enabled", "1\n");
  WriteText(setup / "current_password", "");
  EXPECT_EQ(Checked(""), ErrorManager::PasswordRefused);
  provider->WriteAuthorised({{At("Tag"), "y"}}, "secret");
  EXPECT_EQ(ReadText(setup / "current_password"), "\n");
}

TEST_F(AdminPasswordTest, AFailureClearsItToo) {
  host.SetAdmin(kDriver, true);
  host.SetValueDevice(kDriver, "Full", "/dev/full");
  EXPECT_EQ(CodeOf([&] {
              provider->WriteAuthorised({{At("Full"), "1"}}, "secret");
            }),
            ErrorManager::WritesRefused);
  EXPECT_EQ(ReadText(host.PasswordFile(kDriver)), "\n");
}

TEST_F(AdminPasswordTest, AWrongOneIsTriedOnceAndNothingIsWritten) {
  host.SetAdmin(kDriver, true);
  host.SetValueDevice(kDriver, "Denied", "/proc/self/uid_map");
  SDK::SettingMap batch{{At("Denied"), "1"}, {At("Quiet"), "Disabled"}, {At("Tag"), "y"}};
  std::string message;
  try {
    provider->WriteAuthorised(batch, "wrong");
  } catch (const ResultStatus& failure) {
    EXPECT_EQ(failure.getval(), ErrorManager::PasswordRefused);
    message = failure.message();
  }
  EXPECT_THAT(message, HasSubstr(At("Denied")));
  EXPECT_THAT(message, ::testing::Not(HasSubstr("wrong")));
  EXPECT_EQ(host.Value(kDriver, "Quiet"), "Enabled");
  EXPECT_EQ(ReadText(host.PasswordFile(kDriver)), "\n");
}

TEST_F(AdminPasswordTest, ACheckInOneTextServesTheBatchBehindIt) {
  host.SetAdmin(kDriver, true);
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{At("Tag"), "y"}}, true, false);
            }),
            ErrorManager::PasswordRefused);
  provider->Write({{"/BIOS/AdminPw", "a-b-a-b"}}, true, false);
  provider->Write({{At("Tag"), "y"}}, true, false);
  EXPECT_EQ(host.Value(kDriver, "Tag"), "y");
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{At("Tag"), "z"}}, true, false);
            }),
            ErrorManager::PasswordRefused)
      << "one batch only";
}

// --- An independent reader

TEST_F(FirmwareAttributesTest, AnotherProgramReadsTheSameSettings) {
  if (RunShell("command -v fwupdtool >/dev/null") != 0) GTEST_SKIP() << "fwupdtool is not here";
  host.SetAttribute(kDriver, "Count", {{"min_value", "1"}});  // it does not know negative ones
  provider->WriteAuthorised({{At("Quiet"), "Disabled"}, {At("Count"), "10"}, {At("Tag"), "ab"}},
                            "");
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
