// restore, diff, check and show as an administrator meets them.
#include <fcntl.h>

#include <nlohmann/json.hpp>

#include "plan/ForwardingProvider.h"
#include "providers/machine/MachineProvider.h"
#include "support/FileEdit.h"
#include "support/Paths.h"
#include "tool/ExitCodes.h"
#include "tool/ToolFixture.h"
#include "tool/commands/RestoreCommand.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

/// A caldra machine of the test's own in m.json, a save of it in x.ini, its password in pw.
class RestoreToolTest : public ToolTest {
 protected:
  RestoreToolTest() {
    fs::copy_file(kSource + "/examples/machines/caldra-server.json", PathOf("m.json"));
    machine = ReadText(PathOf("m.json"));
    EXPECT_EQ(OnMachine("save x.ini").exitCode, 0);
    saved = ReadText(PathOf("x.ini"));
    WriteText(PathOf("pw"), "example-admin\n");
  }

  [[nodiscard]] Outcome OnMachine(const std::string& arguments) const {
    return Run("--target machine:m.json " + arguments);
  }
  /// Restores a text with the right password and no backup.
  [[nodiscard]] Outcome Restore(const std::string& text, const std::string& options = "") const {
    WriteText(PathOf("x.ini"), text);
    return OnMachine("restore --yes --password-file pw --no-backup " + options + " x.ini");
  }
  [[nodiscard]] json JsonOf(const Outcome& outcome) const { return json::parse(outcome.out); }
  [[nodiscard]] bool IsUntouched() const { return ReadText(PathOf("m.json")) == machine; }

  std::string machine;
  std::string saved;
};

TEST_F(RestoreToolTest, AnEditArrivesAndIsReported) {
  std::string text = WithValue(saved, "BIOS::Main", "Quiet Boot", "0");
  text = WithValue(text, "CHANNEL::LAN1", "HostIP", "192.0.2.99");
  const Outcome first = Restore(text);
  EXPECT_EQ(first.exitCode, 0) << first.err;
  EXPECT_THAT(first.out,
              StartsWith("BIOS::Main::Quiet Boot  Enabled (1) → Disabled (0)\n1 setting will"));
  EXPECT_THAT(first.out,
              HasSubstr("\nBIOS::Main::Quiet Boot  Enabled (1) → Disabled (0)  applied\n"));
  EXPECT_THAT(first.out, HasSubstr("\nCHANNEL::LAN1::HostIP  192.0.2.10 → 192.0.2.99  skipped (a "
                                   "rule keeps this setting as it is)\n"));
  EXPECT_THAT(first.out, HasSubstr("1 applied, 0 pending until the next boot, 0 not applied, 1 "
                                   "skipped.\n"));
  const Outcome again = OnMachine("restore x.ini");  // needs neither consent nor password
  EXPECT_EQ(again.exitCode, 0) << again.err;
  EXPECT_THAT(again.out, HasSubstr("skipped.\nNothing would change, so nothing was written.\n"));
  EXPECT_THAT(Files(), ::testing::ElementsAre("m.json", "pw", "x.ini"));
  EXPECT_THAT(OnMachine("-v restore x.ini").out, HasSubstr("  /BIOS/Main/Quiet Boot\n"));
  const Outcome diff = OnMachine("diff x.ini");
  EXPECT_EQ(diff.exitCode, 0);
  EXPECT_THAT(diff.out, StartsWith("1 difference in what is the host's own"));
}

TEST_F(RestoreToolTest, ValuesFromAnotherKeyAreReportedUnderIt) {
  const std::string menu = "/BIOS/Advanced/Serial Port Configuration";
  const std::string section = "BIOS::Advanced::Serial Port Configuration";
  json edited = json::parse(machine);
  edited["nodes"][menu]["values"] = {menu + "/Port A"};
  edited["nodes"][menu + "/Port A"] = {{"kind", 1}, {"values", {menu + "/Port A/IRQ"}}};
  edited["nodes"][menu + "/Port A/IRQ"] = {{"values", {"9"}}};
  WriteText(PathOf("m.json"), edited.dump());
  EXPECT_EQ(OnMachine("save --overwrite x.ini").exitCode, 0);
  std::string text = ReadText(PathOf("x.ini"));
  const std::string heading = "[" + section + "::Port A]\n";
  text.erase(text.find(heading), heading.size());
  text = WithValue(text, section, "IRQ", "4");  // which stands for 3
  text += "Internal Shell=2\nInternal Shell=1\n";
  WriteText(PathOf("x.ini"), text);
  EXPECT_THAT(OnMachine("diff x.ini").out, HasSubstr(section + "::Port A::IRQ  9 → 3\n"));
  const Outcome restored = Restore(text);
  EXPECT_EQ(restored.exitCode, 0) << restored.err;
  EXPECT_THAT(restored.out, HasSubstr("\n" + section + "::IRQ  3  applied\n"));
  EXPECT_THAT(restored.out, Not(HasSubstr("Port A::IRQ: skipped")));
  const std::string lost =
      "\"Internal Shell\" stands at two positions in [BIOS::BootOrder]; a "
      "restore keeps its last one only\n";
  EXPECT_THAT(restored.out, HasSubstr(lost));
  EXPECT_THAT(OnMachine("check x.ini").out, HasSubstr(lost));
  EXPECT_THAT(OnMachine("diff x.ini").out, Not(HasSubstr("Serial Port")));
  EXPECT_THAT(OnMachine("verify x.ini").out, Not(HasSubstr("Serial Port")));
}

TEST_F(RestoreToolTest, ADryRunIsTheRestoresOwnWritesAndWritesNothing) {
  WriteText(PathOf("x.ini"), WithValue(saved, "USERS::USER3", "UserName", "Other"));
  const json dry = JsonOf(OnMachine("restore --dry-run --json x.ini"));
  EXPECT_TRUE(IsUntouched());
  EXPECT_EQ(dry["schema"], "saverestore-dry-run/1");
  EXPECT_EQ(dry["changes"], json::parse(R"([{"path": "/BMC/USER[3]/NAME", "section": "USERS::USER3",
                             "key": "UserName", "from": "Mira.Holt", "from_text": "",
                             "to": "Other", "to_text": ""}])"));
  EXPECT_THAT(OnMachine("restore --dry-run x.ini").out,
              HasSubstr("Failed to find section \"BIOS::Server Management::Console Redirection\""));

  // The same writes as those that a restore sends.
  auto server = std::make_shared<FakeProvider>();
  const Machine::MachineImage image = Machine::LoadMachine(PathOf("m.json"));
  server->tree = image.nodes;
  server->platform = image.platform;
  Tool::RestoreRequest request;
  request.openTarget = [&] { return Planning::AllTrees(server); };
  request.file = PathOf("x.ini");
  request.noBackup = request.yes = true;
  EXPECT_EQ(RunRestore(request, Tool::Messages(Tool::Verbosity::Quiet)), 0);
  std::vector<std::string> sent;
  for (const auto& write : server->writes) {
    const std::string below = write.how.starts_with("group(")
                                  ? write.how.substr(6, write.how.size() - 7) + "/"
                                  : std::string();
    if (below == "/BIOS/AdminPw/") continue;
    for (const auto& [path, value] : write.settings) sent.push_back(below + path + "=" + value);
  }
  std::vector<std::string> foretold;
  for (const json& write : dry["writes"]) {
    foretold.push_back(write["path"].get<std::string>() + "=" + write["value"].get<std::string>());
  }
  EXPECT_EQ(foretold, sent);
  EXPECT_GT(sent.size(), 150U);
}

TEST_F(RestoreToolTest, TheMachineIsSavedFirstAndTheWayBackIsPrinted) {
  WriteText(PathOf("it's new.ini"), WithValue(saved, "BIOS::Main", "Quiet Boot", "0"));
  const Outcome outcome =
      OnMachine("restore --yes --password-file pw --backup-dir \"it's kept\" \"it's new.ini\"");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  std::string backup;
  for (const auto& entry : fs::directory_iterator(PathOf("it's kept"))) {
    if (entry.path().extension() == ".ini") backup = entry.path();
  }
  EXPECT_EQ(ReadText(backup), saved);
  EXPECT_EQ(ModeBits(backup), 0600U);
  EXPECT_EQ(ModeBits(PathOf("it's kept")), 0700U);
  EXPECT_THAT(fs::path(backup).filename().string(),
              ::testing::MatchesRegex("000001-[0-9]{8}-[0-9]{6}-restore.ini"));
  // The printed command is one that a shell takes.
  const std::size_t command = outcome.err.find("  saverestore ");
  ASSERT_NE(command, std::string::npos);
  const std::string arguments = outcome.err.substr(command + 14);
  EXPECT_EQ(Run(arguments.substr(0, arguments.find('\n')) + " --yes").exitCode, 0);
  EXPECT_TRUE(IsUntouched());
  WriteText(PathOf("file"), "");
  EXPECT_EQ(
      OnMachine("restore --yes --password-file pw --backup-dir file/x \"it's new.ini\"").exitCode,
      77);
  EXPECT_TRUE(IsUntouched());
  // A folder that was there keeps its mode, since others may share it.
  fs::permissions(PathOf("it's kept"), fs::perms(0755));
  EXPECT_EQ(
      OnMachine("restore --yes --password-file pw --backup-dir \"it's kept\" it*new.ini").exitCode,
      0);
  EXPECT_EQ(ModeBits(PathOf("it's kept")), 0755U);
}

TEST_F(RestoreToolTest, AWrongPasswordChangesNothing) {
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  WriteText(PathOf("wrong"), "guess");
  for (const auto& [source, said] :
       {std::pair{"--password-file wrong", "password is refused: it is wrong"},
        {"", "no BIOS administrator password was given"}}) {
    const Outcome outcome = OnMachine(std::string("restore --yes ") + source + " x.ini");
    EXPECT_EQ(outcome.exitCode, 77);
    EXPECT_THAT(outcome.err, HasSubstr(said));
    EXPECT_THAT(Files(), ::testing::SizeIs(4));  // and no backup
    EXPECT_THAT(outcome.out + outcome.err, Not(HasSubstr("guess")));
    EXPECT_TRUE(IsUntouched());
  }
  // The BMC's settings need none.
  EXPECT_EQ(OnMachine("restore --yes --no-backup --mode bmc x.ini").exitCode, 0);
  EXPECT_FALSE(IsUntouched());
}

TEST_F(RestoreToolTest, APasswordComesFromAFileADescriptorOrTheTerminal) {
  const std::string restore = "--target machine:m.json restore --yes --no-backup ";
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  EXPECT_EQ(Run(restore + "--password-fd 7 x.ini 7<pw").exitCode, 0);
  WriteText(PathOf("m.json"), machine);
  WriteText(PathOf("pw"), "example-admin\r\nmore");
  EXPECT_EQ(Run(restore + "--password-file pw x.ini").exitCode, 0);
  WriteText(PathOf("m.json"), machine);
  WriteText(PathOf("long"), std::string(14, 'x') + "\r\n");
  EXPECT_EQ(Run(restore + "--password-file long x.ini").exitCode, 77);  // read, and refused
  WriteText(PathOf("longer"), std::string(15, 'x'));
  WriteText(PathOf("nul"), std::string("example\0admin", 13));
  for (const auto& [options, code] : {std::pair{"--password-file longer", 64},
                                      {"--password-file nul", 64},
                                      {"--password-file none", 66},
                                      {"--password-fd 77", 77},
                                      {"--ask-password", 64},
                                      {"--password-file pw --ask-password", 64},
                                      {"--password secret", 64}}) {
    EXPECT_EQ(Run(restore + options + " x.ini", "setsid -w").exitCode, code) << options;
  }
  EXPECT_TRUE(IsUntouched());
  const std::string shown =
      TerminalOutput({ToolProgram(), "--target", "machine:" + PathOf("m.json"), "restore", "--yes",
                      "--no-backup", "--ask-password", PathOf("x.ini")},
                     "example-admin\n");
  EXPECT_THAT(shown, HasSubstr("BIOS administrator password: "));
  EXPECT_THAT(shown, HasSubstr("1 applied"));
}

TEST_F(RestoreToolTest, ATerminalIsAskedBeforeAnythingIsWritten) {
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  std::vector<std::string> command = {ToolProgram(),   "--target",   "machine:" + PathOf("m.json"),
                                      "restore",       "--mode",     "bmc",
                                      PathOf("x.ini"), "--no-backup"};
  const auto isAsked = AllOf(HasSubstr("RESTORE → OFF"), HasSubstr("Write them? [y/N]"));
  for (const char* typed : {"n\n", "\n", "yess\n", "\x04", "\x03"}) {
    const std::string shown = TerminalOutput(command, typed, 2);
    EXPECT_THAT(shown, AllOf(isAsked, HasSubstr("nothing was written")));
    EXPECT_TRUE(IsUntouched());
  }
  // Whoever is asked sees the plan, wherever the streams lead.
  const std::string away = " </dev/null >'" + PathOf("out") + "' 2>&1";
  for (const auto& [option, typed] :
       {std::pair{"-q", "yes\n"}, {"--json", "YES\n"}, {"-v", " y \n"}}) {
    WriteText(PathOf("m.json"), machine);
    command.emplace_back(option);
    EXPECT_THAT(TerminalOutput(command, typed, 0, away), isAsked);
    EXPECT_FALSE(IsUntouched());
    command.pop_back();
  }
  WriteText(PathOf("m.json"), machine);
  EXPECT_THAT(TerminalOutput(command, "y\n"), HasSubstr("1 applied"));
  WriteText(PathOf("m.json"), machine);
  const auto another = [&] {
    EXPECT_EQ(OnMachine("apply --yes --no-backup --set POWER::PowerRestorePolicy=on").exitCode, 0);
  };
  EXPECT_THAT(TerminalOutput(command, "y\nn\n", 2, "", another),
              AllOf(HasSubstr("PowerRestorePolicy has changed since the plan was made; it is ON"),
                    HasSubstr("Write all the same? [y/N]"), HasSubstr("nothing was written")));
  EXPECT_THAT(OnMachine("diff --mode bmc x.ini").out, HasSubstr("ON → OFF"));
  WriteText(PathOf("m.json"), machine);
  command.emplace_back("--yes");
  EXPECT_THAT(TerminalOutput(command), Not(HasSubstr("Write them?")));
  EXPECT_FALSE(IsUntouched());
}

TEST_F(RestoreToolTest, TheJournalIsToldWhoWroteWhatAndNoSecret) {
  std::string text = WithValue(saved, "CHANNEL::LAN1", "CommunityString", "let-me-in");
  text = WithValue(text, "EMAILCONFIG::CHANNEL1::INFO", "SMTPUserName", "mallory");
  WriteText(PathOf("x.ini"), WithValue(text, "POWER", "PowerRestorePolicy", "OFF"));
  std::vector<Tool::JournalRecord> told;
  Tool::RestoreRequest request;
  request.openTarget = [&] {
    return Planning::AllTrees(std::make_shared<Machine::MachineProvider>(PathOf("m.json")));
  };
  request.file = PathOf("x.ini");
  request.targets = {"machine:/m.json"};
  request.mode = Planning::ModeBmc;
  request.noBackup = request.yes = true;
  request.journal = [&](const Tool::JournalRecord& record) { told.push_back(record); };
  setenv("SUDO_USER", "mira", 1);
  const auto restore = [&] {
    EXPECT_EQ(RunRestore(request, Tool::Messages(Tool::Verbosity::Quiet)), 0);
  };
  restore();
  restore();  // writes nothing, and tells nothing
  unsetenv("SUDO_USER");
  ASSERT_THAT(told, ::testing::SizeIs(1));
  EXPECT_THAT(told[0][0], AllOf(StartsWith("MESSAGE=restore of machine:/m.json by "),
                                HasSubstr("(sudo by mira): 3 changes, done")));
  EXPECT_THAT(told[0], ::testing::IsSupersetOf({std::string("SAVERESTORE_COMMAND=restore"),
                                                "SAVERESTORE_FILE=" + request.file,
                                                std::string("SAVERESTORE_CHANGES=3")}));
  EXPECT_THAT(told[0], Not(::testing::Contains(HasSubstr("→"))));
  WriteText(PathOf("m.json"), machine);
  request.tellsValues = true;
  restore();
  const std::string all = ::testing::PrintToString(told);
  EXPECT_THAT(all, HasSubstr("SAVERESTORE_CHANGE=POWER::PowerRestorePolicy: RESTORE → OFF"));
  EXPECT_THAT(all, HasSubstr("CHANNEL::LAN1::CommunityString: not told, it is secret"));
  EXPECT_THAT(all, AllOf(Not(HasSubstr("let-me-in")), Not(HasSubstr("mallory"))));
}

TEST_F(RestoreToolTest, WithoutATerminalConsentMustBeGivenBeforehand) {
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  const Outcome outcome =
      Run("--target machine:m.json restore --password-file pw x.ini", "setsid -w");
  EXPECT_EQ(outcome.exitCode, 64);
  EXPECT_THAT(outcome.err, HasSubstr("--yes"));
  EXPECT_TRUE(IsUntouched());
  EXPECT_THAT(Files(), ::testing::SizeIs(3));
}

/// A server whose BMC says what a write of a user's name leads to, until it has a password for him.
class ForeseeingProvider final : public Planning::ForwardingProvider {
 public:
  ForeseeingProvider(std::shared_ptr<SDK::QueryProvider> inner, SDK::WriteForesight::Kind kind)
      : ForwardingProvider(std::move(inner)), kind_(kind) {}
  std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings) override {
    const std::string path = "/BMC/USER[3]/NAME";
    if (!settings.contains(path) || passwords_.contains("Other")) return {};
    return {{path, kind_, "this is foreseen", "Other"}};
  }
  void UsePasswords(const SDK::SettingMap& passwords) override { passwords_ = passwords; }

 private:
  SDK::WriteForesight::Kind kind_;
  SDK::SettingMap passwords_;
};

/// A server where somebody else switches the power policy on before each write.
class ContestedProvider final : public Planning::ForwardingProvider {
 public:
  explicit ContestedProvider(std::string path)
      : ForwardingProvider(std::make_shared<Machine::MachineProvider>(path)),
        path_(std::move(path)) {}
  void Refresh() override {
    Machine::MachineProvider(path_).Write({{"/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "ON"}},
                                          false, false);
    ForwardingProvider::Refresh();
  }

 private:
  std::string path_;
};

TEST_F(RestoreToolTest, ConsentBeforehandIsToThePlanAlone) {
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  Tool::RestoreRequest request;
  request.openTarget = [&] {
    return Planning::AllTrees(std::make_shared<ContestedProvider>(PathOf("m.json")));
  };
  request.file = PathOf("x.ini");
  request.mode = Planning::ModeBmc;
  request.noBackup = request.yes = true;
  EXPECT_EXIT(RestoreAsAScript(request), ::testing::ExitedWithCode(2),
              "POWER::PowerRestorePolicy has changed since the plan was made; it is ON now"
              "(.|\n)*nothing was written");
  EXPECT_THAT(OnMachine("diff --mode bmc x.ini").out, HasSubstr("ON → OFF"));
}

TEST_F(RestoreToolTest, WhatAWriteLeadsToNeedsMoreThanYes) {
  using Kind = SDK::WriteForesight::Kind;
  WriteText(PathOf("x.ini"), WithValue(saved, "USERS::USER3", "UserName", "Other"));
  WriteText(PathOf("users"), "\nOther:new:pass\r\n");
  WriteText(PathOf("empty"), "Other:\n");
  for (const char* file : {"users", "empty"}) chmod(PathOf(file).c_str(), 0600);
  WriteText(PathOf("open"), "Other:new\n");
  struct Row {
    Kind kind;
    bool allowLockout;
    const char* file;
    int exitCode;
    const char* said;
  };
  for (const Row& row :
       std::to_array<Row>({{Kind::LocksOut, false, "", 64, "--allow-lockout"},
                           {Kind::LocksOut, true, "", 0, ""},
                           {Kind::OpensAccount, false, "", 0, ""},
                           {Kind::NeedsPassword, true, "", 64, "is foreseen; give"},
                           {Kind::NeedsPassword, false, "open", 77, "chmod 600"},
                           {Kind::NeedsPassword, false, "empty", 65, "line 1"},
                           {Kind::NeedsPassword, false, "none", 66, "none"},
                           {Kind::NeedsPassword, false, "users", 0, ""}})) {
    WriteText(PathOf("m.json"), machine);
    Tool::RestoreRequest request;
    request.openTarget = [&] {
      return Planning::AllTrees(std::make_shared<ForeseeingProvider>(
          std::make_shared<Machine::MachineProvider>(PathOf("m.json")), row.kind));
    };
    request.file = PathOf("x.ini");
    request.mode = Planning::ModeBmc;
    request.noBackup = request.yes = true;
    request.allowLockout = row.allowLockout;
    if (*row.file != '\0') request.userPasswordFile = PathOf(row.file);
    EXPECT_EXIT(RestoreAsAScript(request), ::testing::ExitedWithCode(row.exitCode), row.said);
    EXPECT_EQ(IsUntouched(), row.exitCode != 0) << row.said << row.file;
    if (row.kind != Kind::LocksOut || row.allowLockout) continue;
    EXPECT_THAT(OnTerminal([&] { RestoreAndExit(request); }, "n\n", 2),
                HasSubstr("This may cut off the way to the target. Write them? [y/N]"));
    EXPECT_TRUE(IsUntouched());
  }
}

TEST_F(RestoreToolTest, ATerminalGetsColumnsColourAndAPager) {
  std::string text = WithValue(saved, "BIOS::Main", "Quiet Boot", "0");
  text = WithValue(text, "BIOS::Main", "POST Error Pause", "1");
  WriteText(PathOf("x.ini"), text);
  const std::vector<std::string> diff = {ToolProgram(), "--target", "machine:" + PathOf("m.json"),
                                         "diff", PathOf("x.ini")};
  setenv("TERM", "xterm", 1);
  setenv("PAGER", "sed 's/^/paged: /'", 1);
  EXPECT_THAT(TerminalOutput(diff, "", 1),
              HasSubstr("\x1b[1mBIOS::Main\x1b[0m\r\n"
                        "  Quiet Boot        Enabled (1) → Disabled (0)\r\n"
                        "  POST Error Pause  Disabled (0) → Enabled (1)\r\n"
                        "2 values differ (machine → file).\r\n"));
  setenv("NO_COLOR", "1", 1);
  EXPECT_THAT(
      TerminalOutput(diff, "", 1),
      AllOf(HasSubstr("BIOS::Main\r\n"), Not(HasSubstr("\x1b[1m")), Not(HasSubstr("paged"))));
  unsetenv("NO_COLOR");
  for (int user = 1; user < 30; ++user) {
    text += "[BIOS::Menu " + std::to_string(user) + "]\nKey=1\n";
  }
  WriteText(PathOf("x.ini"), text);
  EXPECT_THAT(TerminalOutput(diff, "", 1), HasSubstr("paged: "));
  std::vector<std::string> unpaged = diff;
  unpaged.emplace_back("--no-pager");
  EXPECT_THAT(TerminalOutput(unpaged, "", 1), Not(HasSubstr("paged: ")));
  unsetenv("PAGER");
}

TEST_F(RestoreToolTest, AFileThatWouldFailInItsMiddleIsRefusedBeforeTheFirstWrite) {
  std::string text = WithValue(saved, "PEF::FILTERS", "Filter1", "DISABLE");  // is set at once
  text = WithoutKey(text, "EMAILCONFIG::CHANNEL3::INFO", "Subject");
  text = WithoutKey(text, "POWER", "PowerRestorePolicy");
  text = WithValue(text, "BIOS::BootOrder", "USB Stick", "9");
  const Outcome refused = Restore(text);
  EXPECT_EQ(refused.exitCode, 65);
  EXPECT_TRUE(IsUntouched());
  const Outcome check = OnMachine("check x.ini");
  EXPECT_EQ(check.exitCode, 65);
  for (const std::string& said : {refused.err, check.out}) {
    EXPECT_THAT(said, HasSubstr("x.ini: error: POWER::PowerRestorePolicy is missing"));
    EXPECT_THAT(said, HasSubstr("EMAILCONFIG::CHANNEL3::INFO::Subject is missing"));
    EXPECT_THAT(said, HasSubstr("(BIOS::BootOrder::USB Stick; error 1263)"));
  }
  EXPECT_THAT(refused.err, HasSubstr("nothing was written"));
}

TEST_F(RestoreToolTest, TheSerialPortSwitchIsAMissingKeyLikeAnyOther) {
  std::string text =
      WithoutKey(saved, "BIOS::Advanced::Serial Port Configuration", "Serial A Enable");
  text = WithoutKey(text, "BIOS::Advanced::Serial Port Configuration", "Serial B Enable");
  WriteText(PathOf("x.ini"), text);
  const Outcome check = OnMachine("check x.ini");
  EXPECT_EQ(check.exitCode, 65);
  EXPECT_THAT(check.out, HasSubstr("Serial Port Configuration::Serial A Enable is missing"));
  EXPECT_THAT(check.out, HasSubstr("Serial Port Configuration::Serial B Enable is missing"));
}

TEST_F(RestoreToolTest, AnotherPlatformsFileIsRefusedWithBothValues) {
  std::string text = WithValue(saved, "SYSTEM", "BIOSVersion", "S11OSK.02");
  text = WithValue(text, "SYSTEM", "FWOpcodeVersion", "0.61");
  text = WithoutKey(text, "SYSTEM", "FWBootVersion");
  const Outcome outcome = Restore(text);
  EXPECT_EQ(outcome.exitCode, 65);
  EXPECT_THAT(outcome.err, HasSubstr("(BIOSVersion is \"S11OSK.02\" in the file and "
                                     "\"C41200.04.17.0031\" on this machine; error 1044)"));
  EXPECT_THAT(outcome.err,
              HasSubstr("(FWOpcodeVersion is \"0.61\" in the file and \"1.42.0007\" on "
                        "this machine; error 1045)"));
  EXPECT_THAT(outcome.err, HasSubstr("(FWBootVersion; error 1043)"));
  EXPECT_TRUE(IsUntouched());
  EXPECT_EQ(Restore(text, "--skip-system-check").exitCode, 0);
  const Outcome near = Restore(WithValue(saved, "SYSTEM", "BIOSVersion", "C41200.99"));
  EXPECT_EQ(near.exitCode, 0);
  EXPECT_EQ(near.err,
            "saverestore: warning: Warning! The BIOS version in INI file and the BIOS "
            "version in the system do not match. Proceeding anyway\n");
}

TEST_F(RestoreToolTest, AValueThatCannotBeIsNamedBeforeAnythingIsWritten) {
  struct Row {
    const char* section;
    const char* key;
    const char* value;
    const char* reason;
  };
  for (const Row& row : std::to_array<Row>({
           {"POWER", "PowerRestorePolicy", "SOMETIMES", "it is none of ON, OFF, RESTORE"},
           {"CHANNEL::LAN1", "AlertIP0", "999.1.2.3", "it must be an IPv4 address"},
           {"CHANNEL::LAN1", "AlertMAC0", "00-11", "it must be a hardware address"},
           {"CHANNEL::LAN1::SOL", "SolRetryInterval", "abc",
            "\"abc\" cannot be written: it must be a whole number, 0 to 2559"},
           {"CHANNEL::LAN1::SOL", "SolNumberOfRetries", "8", "a whole number, 0 to 7"},
           {"USERS::USER3", "UserName", "two words", "without blanks, at most 16 bytes"},
           {"BIOS::Main", "Quiet Boot", "7", "it is not among the options"},
       })) {
    const Outcome outcome = Restore(WithValue(saved, row.section, row.key, row.value));
    EXPECT_EQ(outcome.exitCode, 65) << row.key;
    EXPECT_THAT(outcome.err, HasSubstr(std::string(row.section) + "::" + row.key)) << row.key;
    EXPECT_THAT(outcome.err, HasSubstr(row.reason)) << row.key;
    EXPECT_EQ(OnMachine("check x.ini").exitCode, 65) << row.key;
  }
  EXPECT_TRUE(IsUntouched());
  const std::string text = WithValue(WithValue(saved, "BIOS::Main", "Quiet Boot", "7"), "POWER",
                                     "PowerRestorePolicy", "OFF");
  const Outcome rest = Restore(text, "--keep-going");
  EXPECT_EQ(rest.exitCode, 1);
  EXPECT_THAT(rest.out,
              HasSubstr("BIOS::Main::Quiet Boot  Enabled (1) → 7  not applied (it is not among"));
  EXPECT_THAT(rest.out, HasSubstr("POWER::PowerRestorePolicy  RESTORE → OFF  applied"));
}

TEST_F(RestoreToolTest, ANameThatNothingHasStopsARestoreUntilItIsToPassOverIt) {
  std::string text = WithValue(saved, "BIOS::Main", "Quiet Boo", "0");
  text = WithValue(text, "POWER", "PowerRestorPolicy", "OFF");
  const Outcome refused = Restore(text);
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.err, HasSubstr("\"Quiet Boo\" of [BIOS::Main] is unknown to this server; did "
                                     "you mean \"Quiet Boot\"?"));
  EXPECT_THAT(refused.err, HasSubstr("\"PowerRestorPolicy\" of [POWER] is unknown to every server; "
                                     "did you mean \"PowerRestorePolicy\"?"));
  EXPECT_EQ(Run("check x.ini").exitCode, 1);
  EXPECT_TRUE(IsUntouched());
  EXPECT_EQ(Restore(text, "--ignore-unknown").exitCode, 0);
}

/// A server that takes everything and acts on nothing, as some BMCs do, or says what it will do, or
/// shows a name that it has refused.
class StubbornProvider final : public FakeProvider {
 public:
  std::vector<SDK::WriteNote> notes;
  std::vector<std::string> expected;  ///< what it was told that is about to be read
  void Expect(const std::vector<std::string>& trees) override { expected = trees; }
  void Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) override {
    for (const auto& [path, value] : settings) {
      if (path.ends_with("/NAME")) {
        tree[path].values = {value};
        notes.push_back({path, SDK::WriteNote::Fate::Refused, "it was not saved"});
      }
      if (path.starts_with("/BIOS/Main")) {
        notes.push_back({path, SDK::WriteNote::Fate::Pending, "at the next boot"});
      }
    }
  }
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& /*password*/) override {
    Write(settings, true, false);
  }
  void WriteGroup(const std::string& /*path*/, const SDK::SettingMap& /*settings*/) override {}
  std::vector<SDK::WriteNote> TakeWriteNotes() override { return std::exchange(notes, {}); }
};

TEST_F(RestoreToolTest, EverySettingHasItsOutcome) {
  auto server = std::make_shared<StubbornProvider>();
  const Machine::MachineImage image = Machine::LoadMachine(PathOf("m.json"));
  server->tree = image.nodes;
  server->platform = image.platform;
  std::string text = WithValue(saved, "BIOS::Main", "Quiet Boot", "0");
  text = WithValue(text, "POWER", "PowerRestorePolicy", "OFF");
  text = WithValue(text, "USERS::USER3", "UserName", "Other");
  text = WithValue(text, "BIOS::Main::System Labels", "Asset Tag", std::string(128, 'x'));
  text = WithValue(text, "BIOS::BootOrder", "Internal Shell", "2");
  text = WithValue(text, "BIOS::BootOrder", "Disk A 480 GB", "1");
  text = WithValue(text, "BIOS::Nowhere", "Nothing", "1");
  text = WithoutKey(text, "BIOS::Main", "POST Error Pause");
  WriteText(PathOf("x.ini"), text);
  Tool::RestoreRequest request;
  request.openTarget = [&] { return Planning::AllTrees(server); };
  request.file = PathOf("x.ini");
  request.skipBootOrder = request.ignoresUnknown = true;
  request.noBackup = request.yes = request.json = true;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(RunRestore(request, Tool::Messages(Tool::Verbosity::Normal)), 1);
  const json report = json::parse(::testing::internal::GetCapturedStdout());
  EXPECT_EQ(report["schema"], "saverestore-restore/1");
  EXPECT_EQ(server->expected, (std::vector<std::string>{"BIOS", "BMC", "SMBIOS"}));
  std::map<std::string, std::string> outcomes;
  for (const json& row : report["settings"]) {
    if (row["outcome"] == "unchanged") continue;
    outcomes[row["key"].get<std::string>()] =
        row["outcome"].get<std::string>() + ": " + row["reason"].get<std::string>();
  }
  EXPECT_EQ(outcomes, (std::map<std::string, std::string>{
                          {"Quiet Boot", "pending until the next boot: at the next boot"},
                          {"PowerRestorePolicy", "not applied: the machine keeps its value"},
                          {"UserName", "not applied: it was not saved"},
                          {"Asset Tag", "skipped: its value is longer than a restore takes"},
                          {"Internal Shell", "skipped: the boot order is left alone"},
                          {"Disk A 480 GB", "skipped: the boot order is left alone"},
                          {"Nothing", "skipped: this machine has no such setting"},
                          {"POST Error Pause", "skipped: the file does not name it"}}));
  EXPECT_EQ(report["totals"]["skipped"], 5);
}

TEST_F(RestoreToolTest, ATargetThatFallsSilentFailsAndNothingIsClaimed) {
  ::testing::internal::CaptureStderr();
  WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  int failAt = 1;
  for (bool hasFailed = true; hasFailed; failAt += 7) {
    WriteText(PathOf("m.json"), machine);
    const auto failing = std::make_shared<FailingProvider>(
        std::make_shared<Machine::MachineProvider>(PathOf("m.json")), failAt,
        ErrorManager::Unreachable);
    Tool::RestoreRequest request;
    request.openTarget = [&] { return Planning::AllTrees(failing); };
    request.file = PathOf("x.ini");
    request.mode = Planning::ModeBmc;
    request.noBackup = request.yes = true;
    const int code = CodeOf([&] { RunRestore(request, Tool::Messages(Tool::Verbosity::Quiet)); });
    hasFailed = failing->Calls() >= failAt;
    ASSERT_EQ(code, hasFailed ? 2048 : 0) << failAt;
  }
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("what is known of the writes"));
  EXPECT_GT(failAt, 300);
}

TEST_F(RestoreToolTest, DiffComparesAsARestoreWouldTakeIt) {
  std::string text = WithValue(saved, "POWER", "PowerRestorePolicy", "restore");
  text = WithValue(text, "CHANNEL::LAN1::SOL", "SolRetryInterval", "255");
  WriteText(PathOf("x.ini"), text);
  EXPECT_EQ(OnMachine("diff x.ini").exitCode, 0);
  text = WithValue(text, "USERS::USER3", "UserName", "mira.holt");
  text = WithValue(text, "BIOS::Extra", "Key", "1");
  text = WithValue(text, "POWER", "Extra", "1");
  text = WithoutKey(text, "BIOS::Main", "Quiet Boot");
  WriteText(PathOf("x.ini"), text);
  const Outcome outcome = OnMachine("diff x.ini");
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_EQ(outcome.out,
            "USERS::USER3::UserName  Mira.Holt → mira.holt\n"
            "[BIOS::Extra]  in the file only\nPOWER::Extra  1  in the file only\n"
            "BIOS::Main::Quiet Boot  Enabled (1)  in the machine only\n"
            "1 value differs (machine → file).\n");
  const json document = JsonOf(OnMachine("diff --json --mode bmc x.ini"));
  EXPECT_EQ(document["schema"], "saverestore-diff/2");
  EXPECT_EQ(document["different"].size(), 1U);
  EXPECT_EQ(document["only_file"]["keys"][0]["key"], "Extra");
  EXPECT_THAT(document["only_other"]["keys"], IsEmpty());
  // Two files need no target.
  WriteText(PathOf("y.ini"), saved);
  EXPECT_EQ(Run("diff y.ini y.ini").exitCode, 0);
  EXPECT_THAT(Run("diff y.ini x.ini").out,
              HasSubstr("USERS::USER3::UserName  Mira.Holt → mira.holt\n"));
  EXPECT_EQ(Run("diff y.ini none.ini").exitCode, 66);
  EXPECT_EQ(Run("diff y.ini").exitCode, 64);
}

TEST_F(RestoreToolTest, CheckFindsWhatAFileTellsByItself) {
  EXPECT_EQ(Run("check x.ini").exitCode, 0);
  EXPECT_THAT(Run("check x.ini").out, IsEmpty());
  std::string text = WithValue(saved, "BIOS::Main", "Quiet Boot", "7");
  text = WithValue(text, "POWER", "PowerRestorePolicy", "Restor");
  text = WithValue(text, "BIOS::Main::System Labels", "Asset Tag", std::string(128, 'x'));
  text += "[POWER]\nPowerRestorePolicy=ON\n[USERS::USERX]\nA=1\n";
  WriteText(PathOf("x.ini"), text);
  const Outcome warned = Run("check x.ini");
  EXPECT_EQ(warned.exitCode, 1);
  for (const char* said :
       {"warning: BIOS::Main::Quiet Boot: \"7\": it is not among the options",
        "warning: POWER::PowerRestorePolicy: \"Restor\": it is none of ON, OFF, RESTORE",
        "Asset Tag: the value is longer than 127 bytes", "the section [POWER] stands twice",
        "the key \"PowerRestorePolicy\" stands twice",
        "[USERS::USERX] is unknown to every server; did you mean \"USERS::USER1\"?"}) {
    EXPECT_THAT(warned.out, HasSubstr(said));
  }
  for (const auto& [cut, said] : std::to_array<std::pair<std::string, const char*>>(
           {{"", "it holds no section"},
            {"[POWER]\n", "it ends in the middle of [POWER]"},
            {"[POWER]\nPowerRestorePolicy=ON ; Options: On, Off or Restore\n",
             "the comment is part of the value"}})) {
    WriteText(PathOf("x.ini"), cut);
    EXPECT_THAT(Run("check x.ini").out, HasSubstr(said));
    EXPECT_EQ(OnMachine("verify x.ini").exitCode, cut == "[POWER]\n" ? 1 : 65) << cut;
  }
  WriteText(PathOf("x.ini"), "Early=1\n[POWER]\nno line\n\x1b[2J\n");
  const Outcome failed = Run("check x.ini");
  EXPECT_EQ(failed.exitCode, 65);
  EXPECT_THAT(failed.out, StartsWith("x.ini:1: error: the key \"Early\" is in no section\n"
                                     "x.ini:3: error: \"no line\" is no section"));
  EXPECT_THAT(failed.out, Not(HasSubstr("\x1b")));
  for (const char* command : {"show x.ini", "diff x.ini", "verify x.ini", "convert x.ini y.scf"}) {
    EXPECT_EQ(OnMachine(command).exitCode, 65) << command;
  }
  const json document = JsonOf(Run("check --json x.ini"));
  EXPECT_EQ(document["schema"], "saverestore-check/1");
  EXPECT_EQ(document["findings"][0]["line"], 1);
  EXPECT_EQ(document["findings"][0]["severity"], "error");
}

TEST_F(RestoreToolTest, ShowSaysWhatAFileIs) {
  const Outcome outcome = Run("show x.ini");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.out, StartsWith("x.ini: 62 sections, 335 keys, to restore with --mode all\n"
                                      "  BIOSVersion C41200.04.17.0031\n"));
  EXPECT_THAT(outcome.out, HasSubstr("\n  [PEF::FILTERS] 9\n"));
  WriteText(PathOf("x.ini"), "[POWER]\nPowerRestorePolicy=ON\n");
  EXPECT_THAT(Run("show x.ini").out,
              StartsWith("x.ini: 1 section, 1 key, to restore with --mode bmc"));
  EXPECT_EQ(JsonOf(Run("show --json x.ini"))["schema"], "saverestore-show/1");
}

TEST_F(RestoreToolTest, NoCommandTakesWhatIsNoConfiguration) {
  WriteText(PathOf("nul.ini"), std::string("[a]\nb=\0\n", 8));
  fs::create_directory(PathOf("folder.ini"));
  ASSERT_EQ(mkfifo(PathOf("pipe.ini").c_str(), 0600), 0);
  WriteText(PathOf("x.txt"), saved);
  for (const auto& [file, code] : {std::pair<std::string, int>{"nul.ini", 65},
                                   {"folder.ini", 65},
                                   {"pipe.ini", 65},
                                   {"none.ini", 66},
                                   {"x.txt", 64}}) {
    const Outcome outcome = OnMachine("restore --yes --password-file pw --no-backup " + file);
    EXPECT_EQ(outcome.exitCode, code) << file;
    EXPECT_THAT(outcome.err, Not(IsEmpty())) << file;
    if (code == 64) continue;  // such a name is wrong for a restore alone
    EXPECT_EQ(Run("check " + file).exitCode, code) << file;
  }
  EXPECT_TRUE(IsUntouched());
}

}  // namespace
}  // namespace Test
