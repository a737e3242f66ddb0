// apply, undo and history as an administrator meets them.
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "ini/IniDocument.h"
#include "support/FileEdit.h"
#include "support/Paths.h"
#include "tool/ToolFixture.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// A machine of the test's own in m.json, a save of it in x.ini.
class BaselineTest : public ToolTest {
 protected:
  void Use(const std::string& machine) {
    fs::copy_file(kSource + "/examples/machines/" + machine + "-server.json", PathOf("m.json"),
                  fs::copy_options::overwrite_existing);
    EXPECT_EQ(OnMachine("save --overwrite x.ini").exitCode, 0);
    saved = ReadText(PathOf("x.ini"));
    WriteText(PathOf("pw"), machine == "caldra" ? "example-admin\n" : "\n");
  }
  [[nodiscard]] Outcome OnMachine(const std::string& arguments) const {
    return Run("--target machine:m.json " + arguments);
  }
  [[nodiscard]] Outcome Apply(const std::string& arguments) const {
    return OnMachine("apply --yes --password-file pw " + arguments);
  }
  [[nodiscard]] std::string SavedNow() const {
    EXPECT_EQ(OnMachine("save --overwrite now.ini").exitCode, 0);
    return ReadText(PathOf("now.ini"));
  }

  std::string saved;
};

struct Wish {
  std::string section;
  std::string key;
  std::string value;
};

/// Another value for some of the settings that have options, from the options in their comments.
std::vector<Wish> RandomWishes(const std::string& saved, unsigned seed) {
  IniDocument document;
  document.Parse(saved);
  std::minstd_rand random(seed);
  std::vector<Wish> wishes;
  for (const IniDocument::Entry& entry : document.Entries()) {
    const std::string section(document.Sections()[entry.section].name);
    const std::string comment(entry.comment);
    const std::string value(entry.value);
    if (random() % 4 != 0 || section.starts_with("USERS::")) continue;
    if (comment == "; Options: Enable, Disable") {
      wishes.push_back({section, std::string(entry.key), value == "ENABLE" ? "disable" : "Enable"});
    } else if (comment.starts_with(";Options: ") && comment.find("; ") == std::string::npos) {
      std::istringstream options(comment.substr(10));
      for (std::string option; std::getline(options, option, ':');) {
        const std::string other = option.substr(option.rfind('=') + 1);
        if (other == value || option.find('=') == std::string::npos) continue;
        wishes.push_back({section, std::string(entry.key), other});
        break;
      }
    }
  }
  return wishes;
}

TEST_F(BaselineTest, WhatNoFileNamesStaysTheSecondTimeNothingChangesAndUndoBringsAllBack) {
  for (const char* machine : {"caldra", "oskent", "r8810lqe"}) {
    for (unsigned seed = 1; seed <= 2; ++seed) {
      SCOPED_TRACE(machine + std::to_string(seed));
      Use(machine);
      std::string wanted = saved;
      std::string files[2];
      for (const Wish& wish : RandomWishes(saved, seed)) {
        files[wish.key.size() % 2] +=
            "[" + wish.section + "]\n" + wish.key + "=" + wish.value + "\n";
        const bool isBmc = wish.value == "disable" || wish.value == "Enable";
        wanted = WithValue(wanted, wish.section, wish.key,
                           !isBmc                   ? wish.value
                           : wish.value == "Enable" ? "ENABLE"
                                                    : "DISABLE");
      }
      WriteText(PathOf("a.ini"), files[0]);
      WriteText(PathOf("b.ini"), files[1]);
      ASSERT_NE(wanted, saved);
      const Outcome first = Apply("a.ini b.ini");
      EXPECT_EQ(first.exitCode, 0) << first.err << first.out;
      EXPECT_TRUE(SavedNow() == wanted);
      EXPECT_THAT(Apply("a.ini b.ini").out, HasSubstr("nothing was written"));
      EXPECT_EQ(Run("extract --common -o both.ini --overwrite x.ini now.ini").exitCode, 0);
      EXPECT_THAT(Apply("both.ini").out, HasSubstr("nothing was written"));
      EXPECT_EQ(OnMachine("undo --yes --password-file pw").exitCode, 0);
      EXPECT_TRUE(SavedNow() == saved);
      EXPECT_THAT(Apply("both.ini").out, HasSubstr("nothing was written"));
      EXPECT_EQ(OnMachine("undo --yes --password-file pw").exitCode, 0);  // of the undo
      EXPECT_TRUE(SavedNow() == wanted);
    }
  }
}

TEST_F(BaselineTest, LayersWildcardsAndPlaceholders) {
  Use("caldra");
  WriteText(PathOf("all.ini"),
            "; saverestore baseline 1\n[CHANNEL::LAN*]\nCommunityString=rack-${RACK}$$\n"
            "[CHANNEL::LAN2]\nCommunityString=second\n[POWER]\nPowerRestorePolicy=on\n");
  WriteText(PathOf("plain.ini"), "[CHANNEL::LAN3]\nCommunityString=${RACK}\n");
  const Outcome unfilled = Apply("all.ini");
  EXPECT_EQ(unfilled.exitCode, 65);
  EXPECT_THAT(unfilled.err, HasSubstr("all.ini:3: the placeholder \"${RACK}\" has no value"));
  const Outcome done = Apply(
      "all.ini plain.ini --var RACK=7 --set POWER::PowerRestorePolicy=off --except '*::LAN1'");
  EXPECT_EQ(done.exitCode, 0) << done.err;
  EXPECT_THAT(done.out, AllOf(HasSubstr("CHANNEL::LAN2::CommunityString  Public-2 → second"),
                              HasSubstr("CHANNEL::LAN3::CommunityString  Public-3 → ${RACK}"),
                              HasSubstr("POWER::PowerRestorePolicy  RESTORE → OFF"),
                              HasSubstr("3 settings will change; 3 will be written")));
  EXPECT_EQ(Apply("all.ini --only '*LAN1*' --var RACK=1").exitCode, 0);
  EXPECT_THAT(SavedNow(), HasSubstr("CommunityString=rack-1$\t"));
}

TEST_F(BaselineTest, ABadWishIsNamedAndNothingIsWritten) {
  Use("caldra");
  WriteText(PathOf("old.ini"), "[SYSTEM]\nBIOSVersion=ZZZZZZ\n[POWER]\nPowerRestorePolicy=OFF\n");
  WriteText(PathOf("none.ini"), "");
  const std::string machine = ReadText(PathOf("m.json"));
  struct Row {
    const char* arguments;
    int exitCode;
    const char* said;
  };
  for (const Row& row : std::to_array<Row>({
           {"--set POWER::PowerRestorPolicy=off", 1, "did you mean \"PowerRestorePolicy\"?"},
           {"--set 'BIOS::Main::Quiet Boo=0'", 1, "did you mean \"Quiet Boot\"?"},
           {"--set 'CHANNEL::WAN*::X=0'", 1, "[CHANNEL::WAN*] is unknown"},
           {"--set 'CHANNEL::LAN9::ARPInterval=4'", 1, "[CHANNEL::LAN9] is unknown to this server"},
           {"--set CHANNEL::LAN2::IPV6Source=AUTO", 1, "\"IPV6Source\" of [CHANNEL::LAN2]"},
           {"--set POWER::PowerRestorePolicy=never", 65, "none of ON, OFF, RESTORE"},
           {"--set POWER=off", 64, "is not SECTION::KEY=VALUE"},
           {"old.ini", 65, "error 1044"},
           {"--set POWER::PowerRestorePolicy=off --require-firmware", 65, "[SYSTEM]"},
           {"none.ini", 65, "it is empty or cut"},
           {"--only POWRE --set POWER::PowerRestorePolicy=off", 64, "\"POWRE\" fits no setting"},
           {"missing.ini", 66, "does not exist"},
           {"", 64, "needs a FILE, --set or --plan"},
       })) {
    const Outcome outcome = Apply(row.arguments);
    EXPECT_EQ(outcome.exitCode, row.exitCode) << row.arguments << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(row.said)) << row.arguments;
  }
  EXPECT_EQ(ReadText(PathOf("m.json")), machine);
  EXPECT_FALSE(fs::exists(PathOf("state")));
  EXPECT_EQ(OnMachine("undo --yes").exitCode, 66);
}

TEST_F(BaselineTest, APlanIsCarriedOutAsItWasShownOrNotAtAll) {
  Use("caldra");
  const std::string base = "; saverestore baseline 1\n[POWER]\nPowerRestorePolicy=${P}\n";
  WriteText(PathOf("base.ini"), base + "[CHANNEL::LAN*]\nARPInterval=4\n");
  const std::string dryRun =
      "apply --dry-run --plan-out plan.json --set 'BIOS::Main::Quiet Boot=0' --var P=on base.ini";
  EXPECT_EQ(OnMachine(dryRun).exitCode, 0);
  EXPECT_EQ(OnMachine(dryRun).exitCode, 2);  // never over a file
  EXPECT_EQ(ModeBits(PathOf("plan.json")), 0600U);
  struct Row {
    const char* file;
    const char* from;
    const char* to;
    const char* said;
  };
  const std::string machine = ReadText(PathOf("m.json"));
  for (const Row& row : std::to_array<Row>({
           {"base.ini", "${P}", "off", "base.ini\" has changed since"},
           {"plan.json", "\"to\": \"ON\"", "\"to\": \"OFF\"", "its digest does not fit"},
           {"m.json", "[\"RESTORE\"]", "[\"OFF\"]",
            "POWER::PowerRestorePolicy was \"RESTORE\", and is \"OFF\""},
           {"m.json", "[\"RESTORE\"]", "[\"ON\"]",
            "POWER::PowerRestorePolicy was \"RESTORE\", and is \"ON\""},
           {"m.json", "BIOSVersion\": {\"values\": [\"C", "BIOSVersion\": {\"values\": [\"D",
            "SYSTEM::BIOSVersion was"},
           {"m.json", "ARPINTERVAL\": {\"values\": [\"4\"", "ARPINTERVAL\": {\"values\": [\"5\"",
            "CHANNEL::LAN2::ARPInterval was \"4\" as wanted, and is \"5\" now"},
       })) {
    const std::string before = ReadText(PathOf(row.file));
    std::string after = before;
    after.replace(after.find(row.from), std::string(row.from).size(), row.to);
    WriteText(PathOf(row.file), after);
    const std::string changed = ReadText(PathOf("m.json"));
    const Outcome stale = Apply("--plan plan.json");
    EXPECT_EQ(stale.exitCode, 65) << row.said << stale.out;
    EXPECT_THAT(stale.err, HasSubstr(row.said));
    EXPECT_TRUE(ReadText(PathOf("m.json")) == changed) << row.said;
    WriteText(PathOf(row.file), before);
  }
  fs::copy_file(PathOf("m.json"), PathOf("other.json"));
  EXPECT_THAT(Run("--target machine:other.json apply --yes --plan plan.json").err,
              HasSubstr("it is for \"machine:" + PathOf("m.json")));
  EXPECT_EQ(Apply("--plan plan.json base.ini").exitCode, 64);
  EXPECT_TRUE(ReadText(PathOf("m.json")) == machine);
  const Outcome done = Apply("--json --plan plan.json");
  EXPECT_EQ(done.exitCode, 0) << done.err;
  EXPECT_EQ(nlohmann::json::parse(done.out)["changed"], true);
  EXPECT_THAT(SavedNow(), AllOf(HasSubstr("Quiet Boot=0"), HasSubstr("PowerRestorePolicy=ON")));
  EXPECT_EQ(Apply("--plan plan.json").exitCode, 65);  // it has been carried out

  // A restore's plan comes to what the restore would.
  WriteText(PathOf("x.ini"), saved);
  EXPECT_EQ(OnMachine("restore --dry-run --plan-out back.json x.ini").exitCode, 0);
  EXPECT_EQ(Apply("--plan back.json").exitCode, 0);
  EXPECT_TRUE(SavedNow() == saved);
}

TEST_F(BaselineTest, AStreamOrAPartIsWrittenBack) {
  Use("caldra");
  const std::string edited = WithValue(WithValue(saved, "POWER", "PowerRestorePolicy", "ON"),
                                       "CHANNEL::LAN1", "ARPInterval", "9");
  WriteText(PathOf("edited.ini"), edited);
  const std::string tool = ToolProgram() + " --target machine:m.json ";
  const std::string options = " --yes --password-file pw ";
  EXPECT_EQ(OnMachine("restore --only POWER edited.ini" + options).exitCode, 0);
  EXPECT_TRUE(SavedNow() == WithValue(saved, "POWER", "PowerRestorePolicy", "ON"));
  EXPECT_EQ(Shell("(cat edited.ini | " + tool + "restore -" + options + ")").exitCode, 0);
  EXPECT_TRUE(SavedNow() == edited);
  EXPECT_THAT(OnMachine("history show 2").out, HasSubstr("  file standard input, SHA-256 "));
  EXPECT_EQ(
      Shell("(printf '[POWER]\\nPowerRestorePolicy=off\\n' | " + tool + "apply -" + options + ")")
          .exitCode,
      0);
  EXPECT_THAT(SavedNow(), HasSubstr("PowerRestorePolicy=OFF"));
  // A question is asked at the terminal, and no line of the file is its answer.
  WriteText(PathOf("yes.ini"), "[POWER]\nPowerRestorePolicy=on\n");
  const std::vector<std::string> apply = {ToolProgram(), "--target", "machine:" + PathOf("m.json"),
                                          "apply", "-"};
  const std::string from = " <'" + PathOf("yes.ini") + "'";
  EXPECT_THAT(TerminalOutput(apply, "n\n", 2, from), HasSubstr("not confirmed"));
  EXPECT_THAT(OnMachine("history").out, HasSubstr("apply standard input: 1 change, nothing was"));
  EXPECT_THAT(OnMachine("undo --dry-run").err, HasSubstr("the state before apply 3"));
  EXPECT_THAT(TerminalOutput(apply, "y\n", 0, from), HasSubstr("1 applied"));
  EXPECT_EQ(OnMachine("restore --only POWER yes.ini" + options).exitCode, 65);  // of which server?
}

TEST_F(BaselineTest, AHistoryTellsWhatWasWritten) {
  Use("caldra");
  EXPECT_EQ(Apply("--set POWER::PowerRestorePolicy=off").exitCode, 0);
  EXPECT_EQ(Apply("--set POWER::PowerRestorePolicy=on").exitCode, 0);
  EXPECT_THAT(OnMachine("history").out,
              AllOf(HasSubstr("1  2"), HasSubstr("  apply: 1 change, done\n2  2")));
  EXPECT_THAT(OnMachine("history show 2").out, HasSubstr("POWER::PowerRestorePolicy  OFF → ON"));
  const auto document = nlohmann::json::parse(OnMachine("history --json").out);
  EXPECT_EQ(document["records"][0]["changes"][0]["from"], "RESTORE");
  EXPECT_EQ(OnMachine("undo 1 --yes --password-file pw").exitCode, 0);
  EXPECT_TRUE(SavedNow() == saved);
  const std::string folder = fs::path(document["records"][0]["backup"]).parent_path();
  EXPECT_EQ(Run("--target machine:other.json history --keep 0 --backup-dir " + folder).exitCode, 0);
  EXPECT_THAT(OnMachine("history").out, HasSubstr("1  2"));  // that target had none there
  EXPECT_THAT(OnMachine("history --keep 1").out, AllOf(HasSubstr("3  2"), Not(HasSubstr("2  2"))));
  EXPECT_EQ(OnMachine("history show 1").exitCode, 66);
}

}  // namespace
}  // namespace Test
