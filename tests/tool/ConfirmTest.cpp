// --confirm and confirm: a write that somebody has to keep, and what becomes of it when nobody
// does.
#include <sys/socket.h>

#include <array>
#include <csignal>
#include <nlohmann/json.hpp>
#include <utility>

#include "plan/ForwardingProvider.h"
#include "providers/machine/MachineProvider.h"
#include "support/FakeHost.h"
#include "support/FileEdit.h"
#include "support/Paths.h"
#include "tool/ToolFixture.h"
#include "tool/guard/Channel.h"
#include "tool/terminal/Interrupt.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A caldra machine in m.json, which is also reached as link.json; a save of it in x.ini, edited.
class ConfirmTest : public ToolTest {
 protected:
  ConfirmTest() {
    fs::copy_file(kSource + "/examples/machines/caldra-server.json", PathOf("m.json"));
    fs::create_symlink("m.json", PathOf("link.json"));
    machine = ReadText(PathOf("m.json"));
    EXPECT_EQ(Run("--target machine:m.json save --mode bmc x.ini").exitCode, 0);
    const std::string saved = ReadText(PathOf("x.ini"));
    WriteText(PathOf("x.ini"), WithValue(saved, "POWER", "PowerRestorePolicy", "OFF"));
  }

  /// A command on the machine by its link.
  [[nodiscard]] static std::string OnLink(const std::string& arguments) {
    return ToolProgram() + " --target machine:link.json " + arguments;
  }
  /// A restore of the edited file that has to be kept.
  [[nodiscard]] static std::string Restore(const std::string& options) {
    return OnLink("restore --yes --backup-dir h x.ini --rescue machine:m.json --confirm " +
                  options);
  }
  /// A command that is tried until it succeeds, but not for ever.
  [[nodiscard]] static std::string Until(const std::string& command) {
    return "for n in $(seq 600); do " + command + " && break; sleep 0.1; done";
  }
  /// What the history says of how the last write has ended.
  [[nodiscard]] std::string Ending() const {
    const std::string shown = Shell(OnLink("history --backup-dir h")).out;
    const std::size_t change = shown.rfind("1 change, ");
    return change == std::string::npos ? shown : shown.substr(change + 10);
  }
  /// The same in this process, with one second, and without the ways.
  [[nodiscard]] Tool::RestoreRequest RestoreInProcess() const {
    Tool::RestoreRequest request;
    request.targets = {"machine:" + PathOf("link.json")};
    request.confirm = {1, {"machine:" + PathOf("m.json")}, {}, 600s, {0s}};
    request.file = PathOf("x.ini");
    request.backupDir = PathOf("h");
    request.yes = true;
    return request;
  }
  [[nodiscard]] bool IsUntouched() const { return ReadText(PathOf("m.json")) == machine; }

  std::string machine;
};

TEST_F(ConfirmTest, WhatIsKeptAtTheTerminalStays) {
  const auto at = [&](const std::string& file) { return "machine:" + PathOf(file); };
  const std::vector<std::string> command = {
      ToolProgram(),  "--target",  at("link.json"), "restore",    PathOf("x.ini"),
      "--backup-dir", PathOf("h"), "--rescue",      at("m.json"), "--confirm",
      "600"};
  EXPECT_THAT(TerminalOutput(command, "y\nwhat?\nundo\n", Tool::ExitTakenBack),
              AllOf(HasSubstr("applied"), HasSubstr("unless within 600 seconds"),
                    HasSubstr("taken back: it was asked for")));
  EXPECT_TRUE(IsUntouched());
  const auto another = [&] {
    static_cast<void>(
        Shell("(setsid " + Restore("600") + " >told 2>&1 &); " + Until("grep -q unless told")));
  };
  EXPECT_THAT(TerminalOutput(command, "y\ny\n", Tool::ExitFailed, "", another),
              HasSubstr("restore 3 waits to be kept"));
  EXPECT_EQ(Shell(OnLink("confirm --undo --backup-dir h")).exitCode, 0);
  EXPECT_TRUE(IsUntouched());
  EXPECT_THAT(TerminalOutput(command, "y\n Keep\n"), HasSubstr("Kept."));
  EXPECT_FALSE(IsUntouched());
}

TEST(ChannelTest, TheLastWordIsHeardAlthoughSomethingWasUnread) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);
  EXPECT_TRUE(Tool::SendPacket(ends[0], {"answers"}));
  EXPECT_TRUE(Tool::SendPacket(ends[1], {"settled"}));
  close(ends[1]);
  const auto heard = Tool::ReceivePacket(ends[0]);
  ASSERT_TRUE(heard.has_value());
  EXPECT_EQ(*heard, Tool::Packet{"settled"});
  EXPECT_FALSE(Tool::ReceivePacket(ends[0]).has_value());
  close(ends[0]);
}

TEST_F(ConfirmTest, WhatIsKeptOrTakenBackFromElsewhereIsMeanwhileNotMixedUp) {
  const std::string begin = "setsid " + Restore("600") + " >told 2>&1 & ";
  const std::string elsewhere = OnLink("confirm --backup-dir h");
  WriteText(PathOf("undo"), begin + Until("grep -q unless told") + "; stat -c %a h/*.confirm; " +
                                OnLink("apply --yes --set POWER::PowerRestorePolicy=on "
                                       "--backup-dir h") +
                                "; echo $?; " + elsewhere + " --undo; wait $!");
  const Outcome undone = Shell("sh undo");
  EXPECT_EQ(undone.exitCode, Tool::ExitTakenBack);
  EXPECT_EQ(undone.out, "600\n2\nrestore 1: taken back: it was asked for\n");
  EXPECT_THAT(undone.err, HasSubstr("restore 1 waits to be kept"));
  EXPECT_TRUE(IsUntouched());
  WriteText(PathOf("keep"), begin + Until(elsewhere) + "; wait $!");
  const Outcome kept = Shell("sh keep");
  EXPECT_EQ(kept.exitCode, 0);
  EXPECT_EQ(kept.out, "restore 2: kept\n");
  EXPECT_THAT(Ending(), StartsWith("done, kept"));
  EXPECT_FALSE(IsUntouched());
  const Outcome none = Shell(elsewhere);
  EXPECT_EQ(none.exitCode, 66);
  EXPECT_THAT(none.err, HasSubstr("the last one, restore 2, is noted as: done, kept"));
}

TEST_F(ConfirmTest, WhatNobodyKeepsIsTakenBack) {
  const std::string history = OnLink("history --backup-dir h");
  WriteText(PathOf("run"), "setsid " + Restore("2 --json") + " >document 2>told & " +
                               Until("grep -q unless told") + "; " + history + "; " + history +
                               " --keep 0; rm h/*.ini; wait $!");
  const Outcome outcome = Shell("sh run");
  EXPECT_EQ(outcome.exitCode, Tool::ExitTakenBack);
  EXPECT_THAT(outcome.out, HasSubstr("done, waits to be kept until"));
  EXPECT_TRUE(IsUntouched());
  EXPECT_EQ(Ending(), "taken back: nobody kept it within 2 seconds\n");
  const auto document = nlohmann::json::parse(ReadText(PathOf("document")));
  EXPECT_EQ(document["totals"]["applied"], 1);
  EXPECT_EQ(document["confirmation"]["outcome"], "taken back");

  EXPECT_EQ(Run("--target machine:m.json apply --yes --backup-dir h --set "
                "POWER::PowerRestorePolicy=on")
                .exitCode,
            0);
  machine = ReadText(PathOf("m.json"));
  EXPECT_EQ(Shell("setsid -w " + ToolProgram() +
                  " --target machine:m.json undo --yes --backup-dir h --rescue machine:link.json "
                  "--confirm 1")
                .exitCode,
            Tool::ExitTakenBack);
  EXPECT_TRUE(IsUntouched());
}

/// A target that each call opens as the next word says: "same" is the machine, "silent" none that
/// answers, any other word a machine file. The last word stays.
Tool::TargetOpener Opening(const std::string& machine, std::vector<std::string> words) {
  return [machine, words]() mutable {
    const std::string word = words.front();
    if (words.size() > 1) words.erase(words.begin());
    if (word == "silent") ErrorManager::Raise(ErrorManager::Unreachable, "it does not answer");
    return Planning::AllTrees(
        std::make_shared<Machine::MachineProvider>(word == "same" ? machine : word));
  };
}

/// Does what ends the tool right behind the write of the edit.
class EndingProvider final : public Planning::ForwardingProvider {
 public:
  EndingProvider(const std::string& machine, void (*end)())
      : ForwardingProvider(std::make_shared<Machine::MachineProvider>(machine)), end_(end) {}
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override {
    ForwardingProvider::Write(settings, isBios, reserved);
    for (const auto& [path, value] : settings) {
      if (value == "OFF") end_();
    }
  }

 private:
  void (*end_)();
};

TEST_F(ConfirmTest, WhoeverEndsTheToolDoesNotEndTheWayBack) {
  const std::string isOver =
      Until(OnLink("history --backup-dir h") + " | grep ': 1 change, taken'");
  // A login that goes, and the tool that is killed, while it waits.
  for (const auto& [signal, time] : {std::pair{"HUP", "2"}, {"KILL", "1"}}) {
    WriteText(PathOf("run"), "echo $$ >shell; " + Restore(time) + " >told 2>&1 & wait");
    const Outcome outcome = Shell("(setsid sh run &); " + Until("grep -q unless told") +
                                  "; kill -" + signal + " -$(cat shell); " + isOver);
    EXPECT_THAT(outcome.out, HasSubstr("nobody kept it within")) << signal;
    EXPECT_TRUE(IsUntouched()) << signal;
    fs::remove_all(PathOf("h"));
    fs::remove(PathOf("told"));
  }
  // The guard itself: asked to end it takes back first, killed it leaves that to the tool.
  for (const auto& [signal, said] : {std::pair{"TERM", "told to end"}, {"KILL", "was killed"}}) {
    WriteText(PathOf("run"), "setsid " + Restore("600") + " >told 2>&1 & " +
                                 Until("grep -q unless told") + "; kill -" + signal +
                                 " $(cat /proc/$!/task/$!/children); wait $!; e=$?; rm -r h; " +
                                 "cat told; exit $e");
    const Outcome outcome = Shell("sh run");
    EXPECT_EQ(outcome.exitCode, Tool::ExitTakenBack);
    EXPECT_THAT(outcome.out, HasSubstr(said));
    EXPECT_TRUE(IsUntouched());
    fs::remove(PathOf("told"));
  }
  // The tool while it writes.
  using ::testing::ExitedWithCode;
  using ::testing::KilledBySignal;
  struct Row {
    void (*end)();
    std::function<bool(int)> isEnded;
    const char* said;
    std::chrono::seconds longestWrite = 600s;
  };
  for (const Row& row : std::to_array<Row>({
           {[] { _exit(9); }, ExitedWithCode(9), "ended while it wrote"},
           {[] { std::raise(SIGINT); }, ExitedWithCode(Tool::ExitTakenBack), "interrupted"},
           {[] { std::raise(SIGSTOP); }, KilledBySignal(SIGKILL), "stood still", 1s},
       })) {
    fs::remove_all(PathOf("h"));
    Tool::RestoreRequest request = RestoreInProcess();
    request.confirm.longestWrite = row.longestWrite;
    request.openTarget = [&, isFirst = true]() mutable {
      if (!std::exchange(isFirst, false)) return Opening(PathOf("m.json"), {"same"})();
      return Planning::AllTrees(std::make_shared<EndingProvider>(PathOf("m.json"), row.end));
    };
    request.confirm.openRescue = Opening(PathOf("m.json"), {"same"});
    const auto run = [&] {
      Tool::CatchInterrupts();
      RestoreAsAScript(request);
    };
    EXPECT_EXIT(run(), row.isEnded, "");
    EXPECT_THAT(Shell(isOver).out, HasSubstr(row.said));
    EXPECT_TRUE(IsUntouched());
  }
}

TEST_F(ConfirmTest, ATargetThatIsGoneOrOtherwiseIsTakenBackOverWhateverIsLeft) {
  WriteText(PathOf("before.json"), machine);
  WriteText(PathOf("other.json"), machine);
  EXPECT_EQ(Run("--target machine:other.json apply --yes --no-backup --set "
                "CHANNEL::LAN2::CommunityString=other")
                .exitCode,
            0);
  struct Row {
    std::vector<std::string> target;
    std::vector<std::string> rescue;
    int exitCode;
    const char* said;
    bool isUntouched = true;
  };
  for (const Row& row : std::to_array<Row>({
           {{"same", "silent"}, {"same"}, Tool::ExitTakenBack, "anew, does not answer"},
           {{"same", PathOf("before.json")},
            {"same"},
            Tool::ExitTakenBack,
            "is \"RESTORE\" and not"},
           {{"same"}, {"same", "silent"}, Tool::ExitTakenBack, "nobody kept it within 1 second"},
           {{"same"}, {"silent"}, 69, "the rescue is no way back"},
           {{"same"},
            {PathOf("other.json")},
            64,
            "another server.*LAN2::CommunityString is another one"},
           {{"same", "silent"},
            {"same", "silent"},
            Tool::ExitNotTakenBack,
            "NOT taken back, though.*by hand:\n.*undo --backup-dir .*h 1\n.* apply .*restore.ini",
            false},
       })) {
    WriteText(PathOf("m.json"), machine);
    fs::remove_all(PathOf("h"));
    Tool::RestoreRequest request = RestoreInProcess();
    request.openTarget = Opening(PathOf("m.json"), row.target);
    request.confirm.openRescue = Opening(PathOf("m.json"), row.rescue);
    EXPECT_EXIT(RestoreAsAScript(request), ::testing::ExitedWithCode(row.exitCode), row.said);
    EXPECT_EQ(IsUntouched(), row.isUntouched) << row.said;
    EXPECT_EQ(fs::exists(PathOf("h")), row.exitCode < 64) << row.said;
  }
}

TEST_F(ConfirmTest, WithoutAWayThatStaysNothingIsWritten) {
  const std::string set = "apply --yes --confirm 1 --set POWER::PowerRestorePolicy=off ";
  for (const auto& [options, said] : {std::pair{"", "needs a way back that the write cannot cut"},
                                      {"--rescue machine:link.json", "is the target itself"},
                                      {"--rescue machine:m.json --no-backup", "--no-backup"},
                                      {"--rescue machine:m.json --reboot", "--reboot"}}) {
    const Outcome outcome = Shell(OnLink(set + options));
    EXPECT_EQ(outcome.exitCode, 64) << options;
    EXPECT_THAT(outcome.err, HasSubstr(said));
  }
  EXPECT_TRUE(IsUntouched());
}

#ifdef SAVERESTORE_HOST
TEST_F(ConfirmTest, TheMachineItselfIsItsOwnWayBack) {
  FakeHost host(PathOf(""));
  host.SetBootEntry(1, "Disk");
  host.SetBootEntry(2, "Network");
  host.SetBootOrder({1, 2});
  const std::string local = "env SAVERESTORE_SYSFS=" + host.Sysfs().string() +
                            " EFIVARFS_PATH=" + host.Efivarfs() + " " + ToolProgram() +
                            " --target local ";
  const std::string before = host.Variable("BootOrder");
  const Outcome outcome =
      Shell("setsid -w " + local +
            "apply --yes --backup-dir h --confirm 1 --set BIOS::BootOrder::Network=1 --set "
            "BIOS::BootOrder::Disk=2");
  EXPECT_EQ(outcome.exitCode, Tool::ExitTakenBack) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("2 applied"));
  EXPECT_EQ(host.Variable("BootOrder"), before);
}
#endif

}  // namespace
}  // namespace Test
