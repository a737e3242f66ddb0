// The tool as a script sees it: the real program, its files, its messages and its exit codes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ini/IniDocument.h"
#include "providers/machine/MachineProvider.h"
#include "support/Paths.h"
#include "tool/ExitCodes.h"
#include "tool/ToolFixture.h"
#include "tool/commands/SaveCommand.h"
#include "tool/terminal/Messages.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(ToolTest, SavesWhatTheModeSays) {
  for (const char* mode : {"bios", "bmc", "all"}) {
    const std::string file = std::string(mode) + ".ini";
    const Outcome outcome =
        Run("--target " + Example("caldra") + " save --mode " + mode + " " + file);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.out, HasSubstr("Saved " + file));
    EXPECT_THAT(outcome.err, IsEmpty());
    IniDocument document;
    ASSERT_EQ(document.Load(PathOf(file).c_str()), IniDocument::Status::Ok);
    EXPECT_EQ(document.HasSection("BIOS::Main"), std::string(mode) != "bmc");
    EXPECT_EQ(document.HasSection("POWER"), std::string(mode) != "bios");
  }
}

TEST_F(ToolTest, TheDefaultModeIsAllAndOptionsMayFollowTheCommand) {
  ASSERT_EQ(Run("save a.ini --quiet --target " + Example("oskent")).exitCode, 0);
  ASSERT_EQ(Run("--target " + Example("oskent") + " save --mode all b.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("a.ini")), ReadText(PathOf("b.ini")));
}

TEST_F(ToolTest, TheFileIsForItsOwnerAloneWhateverTheUmask) {
  ASSERT_EQ(Run("--target " + Example("oskent") + " save x.ini", "umask 000;").exitCode, 0);
  EXPECT_EQ(ModeBits(PathOf("x.ini")), 0600U);
}

TEST_F(ToolTest, AnExistingFileNeedsOverwrite) {
  WriteText(PathOf("x.ini"), "precious");
  const Outcome refused = Run("--target " + Example("oskent") + " save x.ini");
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.err, HasSubstr("--overwrite"));
  EXPECT_EQ(ReadText(PathOf("x.ini")), "precious");
  EXPECT_EQ(Run("--target " + Example("oskent") + " save --overwrite x.ini").exitCode, 0);
  EXPECT_THAT(ReadText(PathOf("x.ini")), HasSubstr("[SYSTEM]"));
  EXPECT_THAT(Files(), ::testing::ElementsAre("x.ini"));
}

TEST_F(ToolTest, ANameIsAsLongAsARestoreTakesAndNoLonger) {
  const std::string folder = std::string(200, 'a') + "/" + std::string(200, 'b') + "/";
  fs::create_directories(PathOf(folder));
  const auto named = [&](std::size_t size, const char* extension) {
    return folder + std::string(size - folder.size() - 4, 'c') + extension;
  };
  const std::string text = named(511, ".ini");
  EXPECT_EQ(Run("--target " + Example("oskent") + " save " + text).exitCode, 0);
  EXPECT_EQ(Run("--target " + Example("oskent") + " restore --no-backup " + text).exitCode, 0);
  EXPECT_EQ(Run("convert " + text + " " + named(511, ".scf")).exitCode, 0);
  EXPECT_EQ(Run("--target " + Example("oskent") + " verify " + named(511, ".scf")).exitCode, 0);
  WriteText(PathOf(named(512, ".ini")), ReadText(PathOf(text)));
  for (const std::string& command :
       {"save --overwrite " + named(512, ".ini"), "save " + named(512, ".scf"),
        "restore " + named(512, ".ini"), "convert " + text + " " + named(512, ".scf")}) {
    const Outcome outcome = Run("--target " + Example("oskent") + " " + command);
    EXPECT_EQ(outcome.exitCode, 64);
    EXPECT_THAT(outcome.err, HasSubstr("longer than 511 bytes"));
  }
  const fs::directory_iterator files(PathOf(folder));
  EXPECT_EQ(std::distance(begin(files), end(files)), 3);
}

TEST_F(ToolTest, ADirectoryOrADeviceIsNoDestination) {
  fs::create_directory(PathOf("folder.ini"));
  fs::create_symlink("/dev/null", PathOf("device.ini"));
  for (const char* file : {"folder.ini", "device.ini"}) {
    const Outcome outcome = Run("--target " + Example("oskent") + " save --overwrite " + file);
    EXPECT_EQ(outcome.exitCode, 2) << file;
    EXPECT_THAT(outcome.err, HasSubstr("regular file")) << file;
  }
}

TEST_F(ToolTest, AFailedSaveLeavesNothingBehind) {
  WriteText(PathOf("old.ini"), "precious");
  WriteText(PathOf("broken.json"), "{\n  \"format\": \"saverestore-machine/1\",\n  oops\n");
  const Outcome outcome = Run("--target machine:broken.json save --overwrite old.ini");
  EXPECT_EQ(outcome.exitCode, 65);
  EXPECT_THAT(outcome.err, HasSubstr("broken.json:3: "));
  EXPECT_EQ(ReadText(PathOf("old.ini")), "precious");
  EXPECT_EQ(Run("--target " + Example("oskent") + " save missing/x.ini").exitCode, 2);
  EXPECT_THAT(Files(), ::testing::ElementsAre("broken.json", "old.ini"));
}

TEST_F(ToolTest, AFullDiskIsAFailureThatLeavesTheOldFile) {
  // The shell's file size limit stands in for a disk that fills up in the middle of a save.
  WriteText(PathOf("old.ini"), "precious");
  const Outcome outcome = Run("--target " + Example("caldra") + " save --overwrite old.ini",
                              "trap '' XFSZ; ulimit -f 4;");
  EXPECT_EQ(outcome.exitCode, 2) << outcome.err;
  EXPECT_THAT(outcome.err, HasSubstr("old.ini"));
  EXPECT_THAT(outcome.err, HasSubstr("File too large"));
  EXPECT_EQ(ReadText(PathOf("old.ini")), "precious");
  EXPECT_THAT(Files(), ::testing::ElementsAre("old.ini"));
}

struct WrongCall {
  const char* name;
  std::string arguments;
  int exitCode;
  const char* text;
};

class WrongCallTest : public ToolTest, public ::testing::WithParamInterface<WrongCall> {};

TEST_P(WrongCallTest, SaysWhatIsWrongAndWritesNothing) {
  const Outcome outcome = Run(GetParam().arguments);
  EXPECT_EQ(outcome.exitCode, GetParam().exitCode);
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_THAT(outcome.err, HasSubstr(GetParam().text));
  EXPECT_THAT(outcome.err, Not(HasSubstr("cret")));
  EXPECT_THAT(Files(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongCallTest,
    ::testing::Values(
        WrongCall{"NoCommand", "", 64, "--help"},
        WrongCall{"UnknownCommand", "svae x.ini", 64,
                  "no command \"svae\"; did you mean \"save\"?"},
        WrongCall{"UnknownInnerCommand", "machine captur x", 64, "did you mean \"capture\"?"},
        WrongCall{"UnknownOption", "save --overwirte x.ini", 64,
                  "no option \"--overwirte\"; did you mean \"--overwrite\"?"},
        WrongCall{"UnknownPassword", "restore --password=se=cret x.ini", 64,
                  "no option \"--password\""},
        WrongCall{"PasswordForAFlag", "restore --ask-password=secret x.ini", 64, "--ask-password"},
        WrongCall{"PasswordForANumber", "save --bmc-password-fd secret x.ini", 64, "password-fd"},
        WrongCall{"NoFile", "--target machine:x save", 64, "FILE is required"},
        WrongCall{"TwoFiles", "--target machine:x save a.ini b.ini", 64, "b.ini"},
        WrongCall{"NoTarget", "save x.ini", 64, "--target machine:FILE"},
        WrongCall{"UnknownTarget", "--target nosuch:x save x.ini", 64, "\"nosuch:x\" is no target"},
        WrongCall{"TargetWithoutPlace", "--target machine: save x.ini", 64, "is no target"},
        WrongCall{"BadMode", "--target machine:x save --mode both x.ini", 64, "bios, bmc or all"},
        WrongCall{"BadExtension", "--target machine:x save x.txt", 64, ".ini"},
        WrongCall{"MissingMachine", "--target machine:no.json save x.ini", 66, "no.json"},
        WrongCall{"MachineIsAFolder", "--target machine:. save x.ini", 65,
                  "it is a directory, not a machine file"},
        WrongCall{"QuietAndVerbose", "-q -v targets", 64, "--verbose"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ToolTest, AFileThatMayNotBeReadOrWrittenIsNotPermitted) {
  WriteText(PathOf("m.json"), "{}");
  fs::permissions(PathOf("m.json"), fs::perms::none);
  fs::create_directory(PathOf("mine"));
  fs::permissions(PathOf(""), fs::perms::all);
  // Root may do everything, so the tool runs as nobody then.
  const std::string nobody =
      geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups" : "";
  if (geteuid() != 0) fs::permissions(PathOf("mine"), fs::perms::owner_read);
  EXPECT_EQ(Run("--target machine:m.json save x.ini", nobody).exitCode, 77);
  EXPECT_EQ(Run("--target " + Example("oskent") + " save mine/x.ini", nobody).exitCode, 77);
}

TEST_F(ToolTest, HelpAndVersionGoToStandardOutput) {
  for (const char* arguments :
       {"--help", "save --help", "restore --help", "targets --help", "machine --help",
        "machine capture --help", "diff --help", "undo --help", "apply --help", "check --help",
        "verify --help", "show --help", "convert --help", "history --help", "pending --help",
        "reboot --help", "machine from-registry --help"}) {
    const Outcome outcome = Run(arguments);
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80U) << line;
    EXPECT_THAT(outcome.out, Not(HasSubstr("Option Group")));
    if (std::string(arguments) == "machine --help") continue;
    EXPECT_EQ(outcome.exitCode, 0) << arguments;
    EXPECT_THAT(outcome.out, HasSubstr("Example:")) << arguments;
    EXPECT_THAT(outcome.err, IsEmpty()) << arguments;
  }
  EXPECT_THAT(Run("--version").out, ::testing::StartsWith("saverestore "));
  EXPECT_THAT(Run("--version").out, HasSubstr("\nBack ends: "));
  EXPECT_THAT(Run("targets").out, HasSubstr("machine:FILE"));
}

TEST_F(ToolTest, AClosedStreamNeverBecomesTheFile) {
  const std::string target = "--target " + Example("oskent");
  EXPECT_EQ(Run(target + " save whole.ini").exitCode, 0);
  const Outcome outcome =
      Shell("(exec <&- >&- 2>&-; " + ToolProgram() + " -v " + target + " save x.ini)");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("x.ini")), ReadText(PathOf("whole.ini")));
}

TEST_F(ToolTest, OutputThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(Run("--target " + Example("oskent") + " save x.ini").exitCode, 0);
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  const std::string broken = "&" + std::to_string(ends[1]);
  for (const auto& [sink, reason] :
       {std::pair{std::string("/dev/full"), "No space left on device"}, {broken, "Broken pipe"}}) {
    for (const std::string command :
         {"show x.ini", "check --json x.ini", "--help", "--version", "targets"}) {
      const Outcome outcome = Shell("(" + ToolProgram() + " " + command + " >" + sink + ")");
      EXPECT_EQ(outcome.exitCode, 2) << command;
      EXPECT_THAT(outcome.err,
                  HasSubstr("standard output could not be written: " + std::string(reason)))
          << command;
    }
  }
  close(ends[1]);
}

TEST_F(ToolTest, EveryExitCodeStandsInHelpReadmeAndManual) {
  const std::string help = Run("--help").out;
  const std::string table = help.substr(help.find("Exit codes:"));
  const std::string readme = ReadText(kSource + "/README.md");
  const std::string manual = ReadText(kSource + "/docs/saverestore.1");
  int rows = 0;
  std::istringstream lines(table);
  std::string line;
  std::getline(lines, line);
  for (std::string code; lines >> code && std::getline(lines >> std::ws, line); ++rows) {
    EXPECT_THAT(readme, HasSubstr("| " + code + " | " + line)) << "README";
    EXPECT_THAT(manual, HasSubstr("\n.B " + code + "\n" + line)) << "manual page";
  }
  EXPECT_EQ(rows, 10);
}

TEST_F(ToolTest, QuietSaysNothingAndVerboseNamesEveryQuery) {
  const Outcome quiet = Run("-q --target " + Example("oskent") + " save a.ini");
  EXPECT_THAT(quiet.out + quiet.err, IsEmpty());
  const Outcome verbose = Run("-v --target " + Example("oskent") + " save b.ini");
  EXPECT_THAT(verbose.err, HasSubstr("query /BMC/INFO/PRODUCT\n"));
  EXPECT_THAT(verbose.err, HasSubstr("query /SMBIOS/Type0/BIOSVersion\n"));
}

TEST_F(ToolTest, AMachineThatTellsLittleIsSavedWithWarnings) {
  WriteText(PathOf("m.json"),
            R"({"format": "saverestore-machine/1", "platform": "", "nodes": {}})");
  const Outcome outcome = Run("--target machine:m.json save x.ini");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.err, HasSubstr("BIOSVersion"));
  EXPECT_THAT(outcome.err, HasSubstr("no BIOS setting"));
}

TEST_F(ToolTest, TextsOfAMachineCannotSteerTheTerminal) {
  WriteText(PathOf("m.json"),
            "{\"format\": \"saverestore-machine/1\", \"platform\": \"\", \"nodes\": {\"/BMC/LAN\": "
            "{\"values\": [\"/BMC/LAN[1]\"]}, \"/BIOS\": {\"kind\": 1, \"values\": "
            "[\"/BIOS/Main\"]}, \"/BIOS/Main\": {\"kind\": 1, \"values\": "
            "[\"/BIOS/Main/\\u001b[2J\\n[POWER]\", \"/BIOS/Main/\\u00e9\\u009b2J\"]}}}");
  const Outcome outcome = Run("-v --target machine:m.json save x.ini");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.err, Not(HasSubstr("\x1b")));
  EXPECT_EQ(Tool::Printable("\u00e9\u20ac\u009b2J\x9b"), "\u00e9\u20ac\\xC2\\x9B2J\\x9B");
  EXPECT_THAT(ReadText(PathOf("x.ini")), HasSubstr("\\x1B[2J\\x0A[POWER]="));
}

TEST_F(ToolTest, ATargetThatFallsSilentIsNeverSavedAsEmpty) {
  const std::string machine = kSource + "/examples/machines/oskent-server.json";
  const int calls = 137;  // what a save of this machine's BMC takes
  for (const int code : {int{ErrorManager::Unreachable}, int{ErrorManager::NotPermitted}}) {
    for (int failAt = 1; failAt <= calls; ++failAt) {
      Tool::SaveRequest request;
      request.file = PathOf("x.ini");
      request.mode = Planning::ModeBmc;
      const auto target = std::make_shared<FailingProvider>(
          std::make_shared<Machine::MachineProvider>(machine), failAt, code);
      request.openTarget = [&] { return Planning::AllTrees(target); };
      ASSERT_EQ(CodeOf([&] { RunSave(request, Tool::Messages(Tool::Verbosity::Quiet)); }), code)
          << failAt;
      // Each further question to one that is silent may have to be waited out.
      if (code == ErrorManager::Unreachable) {
        ASSERT_EQ(target->Calls(), failAt);
      }
      ASSERT_THAT(Files(), IsEmpty()) << failAt;
    }
  }
}

TEST(ExitCodes, AreTheShellsViewOfAFailure) {
  const auto exitCode = [](int error) {
    return Tool::ExitCodeOf(
        ResultStatus(static_cast<unsigned short>(error), "", "", XCOMMAND_QUERY));
  };
  EXPECT_EQ(exitCode(ErrorManager::Unreachable), 69);
  EXPECT_EQ(exitCode(ErrorManager::NotPermitted), 77);
  EXPECT_EQ(exitCode(ErrorManager::PasswordRefused), 77);
  EXPECT_EQ(exitCode(ErrorManager::TargetMalformed), 65);
  EXPECT_EQ(exitCode(ErrorManager::CannotWriteFile), 2);
  EXPECT_EQ(exitCode(9999), 2);
}

TEST_F(ToolTest, AnInterruptAtThePasswordPromptEndsAtOnce) {
  EXPECT_EQ(Run("--target " + Example("oskent") + " save x.ini").exitCode, 0);
  for (const char* typed : {"secret\x03", "\x1c"}) {  // Ctrl-C, Ctrl-backslash
    EXPECT_THAT(TerminalOutput({ToolProgram(), "--target", Example("oskent"), "restore",
                                "--ask-password", PathOf("x.ini")},
                               typed, 2),
                HasSubstr("interrupted; nothing was written"));
  }
}

TEST_F(ToolTest, ATerminalShowsProgressAndIsLeftClean) {
  const std::string shown =
      TerminalOutput({ToolProgram(), "--target", Example("caldra"), "save", PathOf("x.ini")});
  EXPECT_THAT(shown, HasSubstr(" queries"));
  const std::size_t cleared = shown.rfind("\r\x1b[K");
  ASSERT_NE(cleared, std::string::npos);
  EXPECT_THAT(shown.substr(cleared + 4), ::testing::StartsWith("Saved "));
  const std::string quiet =
      TerminalOutput({ToolProgram(), "-q", "--target", Example("caldra"), "save", PathOf("y.ini")});
  EXPECT_THAT(quiet, IsEmpty());
}

}  // namespace
}  // namespace Test
