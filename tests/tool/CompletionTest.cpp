// What the tool tells a shell that completes its command line, and the shells' own side of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tool/ToolFixture.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

class CompletionTest : public ToolTest {
 protected:
  void SetUp() override {
    fs::create_directories(PathOf("my files"));
    fs::create_directories(PathOf("config/saverestore"));
    WriteText(PathOf("config/saverestore/targets.ini"), "[rack7-3]\ntarget=local\n");
    WriteText(PathOf("site.ini"), "[BIOS::Main]\nQuiet Boot=1\n[POWER]\nPowerRestorePolicy=ON\n");
    WriteText(PathOf("old.scf"), "");
    WriteText(PathOf("server.json"), "{}");
  }
};

struct CompletionCase {
  const char* words;
  const char* offers;  ///< a whole word with the tab behind it
  const char* leavesOut;
};

TEST_F(CompletionTest, OffersWhatCanStandThere) {
  for (const CompletionCase& row : {
           CompletionCase{"''", "restore\tWrite a file", "site.ini"},
           CompletionCase{"re", "reboot\t", "save\t"},
           CompletionCase{"machine ''", "capture\t", "save\t"},
           CompletionCase{"save --o", "--overwrite\t", "--yes"},
           CompletionCase{"save --mode ''", "bmc\t", "site.ini"},
           CompletionCase{"save --mode=b", "--mode=bios\t", "--mode=all"},
           CompletionCase{"restore ''", "site.ini\t", "server.json"},
           CompletionCase{"restore ''", "old.scf\t", "--"},
           CompletionCase{"restore m", "my files/\t", "site.ini"},
           CompletionCase{"machine capture s", "server.json\t", "site.ini"},
           CompletionCase{"--target ''", "@rack7-3\t", "site.ini"},
           CompletionCase{"--target ''", "machine:\t", "restore"},
           CompletionCase{"--target machine:s", "machine:server.json\t", "site.ini"},
           CompletionCase{"--target redfish:host --auth ''", "session\t", "site.ini"},
           CompletionCase{"--bmc-over ''", "redfish\t", "site.ini"},
           CompletionCase{"apply site.ini --set ''", "BIOS::Main::Quiet Boot=\t1", "site.ini"},
           CompletionCase{"apply site.ini --only P", "POWER::PowerRestorePolicy\tON", "BIOS"},
       }) {
    const std::string complete = "--complete ";
    const Outcome outcome = Run(complete + row.words, "XDG_CONFIG_HOME='" + PathOf("config") + "'");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT("\n" + outcome.out, HasSubstr("\n" + std::string(row.offers))) << row.words;
    EXPECT_THAT(outcome.out, Not(HasSubstr(row.leavesOut))) << row.words;
  }
}

TEST_F(CompletionTest, BashPutsInWhatItTakesApart) {
  WriteText(PathOf("drive"), R"(. "$1/completion/saverestore.bash"
_get_comp_words_by_ref() { cur=$line_cur words=("${line_words[@]}") cword=$((${#words[@]} - 1)); }
complete_line() { line_words=("$@") line_cur=${*: -1}; _saverestore; printf '[%s]' "${COMPREPLY[@]}"; echo; }
compopt() { printf '(%s %s)' "$@"; }
complete_line "$2" apply site.ini --set BIOS::Main::Q
complete_line "$2" restore my
complete_line "$2" restore 'my\ f'
)");
  const Outcome outcome = Shell("bash drive '" + kSource + "' " + ToolProgram());
  EXPECT_EQ(outcome.out,
            "(-o nospace)[Quiet\\ Boot=]\n(-o nospace)[my\\ files/]\n"
            "(-o nospace)[my\\ files/]\n")
      << outcome.err;
}

}  // namespace
}  // namespace Test
