// Back ends as loadable modules: what is loaded when, and what becomes of one that cannot be.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/Paths.h"
#include "tool/ToolFixture.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class ModuleTest : public ToolTest {
 protected:
  /// A folder of modules of our own, empty at first.
  void SetUp() override { fs::create_directory(PathOf("modules")); }

  /// Runs the tool with it.
  [[nodiscard]] Outcome RunWith(const std::string& arguments) const {
    return Run(arguments, "SAVERESTORE_MODULES='" + PathOf("modules") + "'");
  }
};

TEST_F(ModuleTest, EachLoads) {
  const Outcome outcome = Run("targets");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("machine:FILE"), HasSubstr("\nipmi:["),
                                 HasSubstr("\nredfish:["), HasSubstr("\nlocal  ")));
  EXPECT_THAT(outcome.out, Not(HasSubstr("cannot be loaded")));
}

TEST_F(ModuleTest, NothingIsLoadedThatNobodyAskedFor) {
  const std::string save = "-q --target " + Example("oskent") + " save --overwrite x.ini";
  for (const std::string& arguments : {std::string("--version"), save}) {
    const Outcome outcome = Run(arguments, "LD_DEBUG=files");
    EXPECT_THAT(outcome.err, HasSubstr("libsaverestore.so"));
    EXPECT_THAT(outcome.err, Not(ContainsRegex("libcurl|freeipmi|efiboot|ipmi.so|redfish.so")));
  }
}

TEST_F(ModuleTest, OneThatCannotBeLoadedIsNamedWithItsReason) {
  WriteText(PathOf("modules/ipmi.so"), "no library");
  fs::create_symlink("/lib/x86_64-linux-gnu/libm.so.6", PathOf("modules/redfish.so"));
  const Outcome listed = RunWith("targets");
  EXPECT_EQ(listed.exitCode, 0);
  EXPECT_THAT(listed.out, AllOf(HasSubstr("machine:FILE"),
                                ContainsRegex("\nipmi +cannot be loaded: .*file too short"),
                                ContainsRegex("\nredfish +cannot be loaded: .*no back end for")));
  struct Case {
    const char* arguments;
    int exitCode;
    const char* text;
  };
  for (const Case& row : {
           Case{"--target ipmi:host save x.ini", 2, "\"ipmi\" cannot be loaded: "},
           Case{"--target ipmi:host --cipher-suite 3 save x.ini", 2, "cannot be loaded: "},
           Case{"--target local save x.ini", 64, "there is no back end \"local\" in "},
           Case{"--target ../modules/ipmi:x save x.ini", 64, "is no target"},
       }) {
    const Outcome outcome = RunWith(row.arguments);
    EXPECT_EQ(outcome.exitCode, row.exitCode) << row.arguments;
    EXPECT_THAT(outcome.err, HasSubstr(row.text));
  }
}

TEST_F(ModuleTest, RootLoadsNoneThatOthersCouldHavePutThere) {
  if (geteuid() != 0) GTEST_SKIP() << "only root has something to lose here";
  const fs::path own = fs::path(ToolProgram()).parent_path().parent_path() / "lib/saverestore";
  fs::copy_file(own / "local.so", PathOf("modules/local.so"));
  EXPECT_THAT(RunWith("targets").out, HasSubstr("\nlocal  "));
  fs::permissions(PathOf("modules"), fs::perms::others_write, fs::perm_options::add);
  EXPECT_THAT(RunWith("targets").out, HasSubstr("cannot be loaded: others may write "));
  fs::permissions(PathOf("modules"), fs::perms::others_write, fs::perm_options::remove);
  ASSERT_EQ(chown(PathOf("modules/local.so").c_str(), 65534, 65534), 0);
  EXPECT_THAT(RunWith("targets").out, HasSubstr("belongs to another user"));
}

TEST_F(ModuleTest, OptionsOfEveryKindAreKnownWhateverTheTarget) {
  const std::string save = "-q --target " + Example("oskent") + " save ";
  EXPECT_EQ(Run(save + "--cacert none.pem --cipher-suite 3 a.ini").exitCode, 0);
  EXPECT_THAT(Run(save + "--cipher-suit 3 b.ini").err,
              HasSubstr("did you mean \"--cipher-suite\""));
  EXPECT_THAT(Run("--help").out, AllOf(HasSubstr("--cacert FILE"), HasSubstr("--cipher-suite N")));
}

}  // namespace
}  // namespace Test
