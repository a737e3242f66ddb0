// Targets by their names in targets.ini and by SAVERESTORE_TARGET.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tool/ToolFixture.h"

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class NamedTargetTest : public ToolTest {
 protected:
  void SetUp() override {
    fs::create_directories(PathOf("config/saverestore/deep"));
    fs::copy_file(kSource + "/examples/machines/oskent-server.json",
                  PathOf("config/saverestore/deep/server.json"));
  }

  /// Runs the tool with a person's targets.ini and environment.
  [[nodiscard]] Outcome RunWith(const std::string& ini, const std::string& arguments,
                                const std::string& environment = "") const {
    if (!ini.empty()) WriteText(PathOf("config/saverestore/targets.ini"), ini);
    return Run(arguments, environment + " XDG_CONFIG_HOME='" + PathOf("config") + "'");
  }
};

TEST_F(NamedTargetTest, ANameLeadsToItsServerAndAPlanSaysWhich) {
  const std::string ini = "[rack7-3]\ntarget=machine:deep/server.json\n";
  ASSERT_EQ(RunWith(ini, "--target @rack7-3 save x.ini").exitCode, 0);
  const std::string direct = "machine:" + PathOf("config/saverestore/deep/server.json");
  const std::string dryRun = "restore --dry-run --mode bmc x.ini";
  EXPECT_THAT(RunWith("", "--target @rack7-3 " + dryRun).out,
              StartsWith("Target: rack7-3 " + direct + "\n"));
  EXPECT_THAT(RunWith("", dryRun, "SAVERESTORE_TARGET=@rack7-3").out,
              StartsWith("Target: rack7-3 " + direct + ", as SAVERESTORE_TARGET says\n"));
  // The command line goes over the environment, and then says itself which server it is.
  EXPECT_THAT(RunWith("", "--target " + direct + " " + dryRun, "SAVERESTORE_TARGET=@none").out,
              Not(HasSubstr("Target:")));
  // The history is that of the server, whatever it was called.
  ASSERT_EQ(
      RunWith("", "--target @rack7-3 apply --yes --set POWER::PowerRestorePolicy=ON").exitCode, 0);
  EXPECT_THAT(RunWith("", "--target " + direct + " history").out, HasSubstr("apply"));
}

struct KeyCase {
  const char* keys;
  int exitCode;
  const char* text;
};

TEST_F(NamedTargetTest, AKeyIsAnOptionOfItsTargetAndAnythingElseAnError) {
  const std::string folder = PathOf("config/saverestore/");
  const std::string remote = "target=redfish:127.0.0.1:1\n";
  for (const KeyCase& row : {
           KeyCase{"cacert=ca.pem", 66, "config/saverestore/ca.pem\", does not exist"},
           KeyCase{"bmc-password-file=secret", 66, "config/saverestore/secret\""},
           KeyCase{"pinned-key=md5//x", 64, "sha256//"},
           KeyCase{"cacrt=ca.pem", 65, "did you mean \"cacert\"?"},
           KeyCase{"cipher-suite=17", 65, "line 3, which a target of this kind does not have"},
           KeyCase{"bmc-password=secret", 65, "a password stands in a file of its own"},
           KeyCase{"insecure=no", 65, "is \"yes\" or not there"},
           KeyCase{"auth=digest", 65, "is one of auto, session, basic"},
           KeyCase{"bmc-over=host", 65, "is one of redfish, ipmi"},
           KeyCase{"bmc-over=ipmi", 64, "--bmc-over ipmi needs a --target ipmi:..."},
           KeyCase{"timeout=0", 65, "is no number of seconds from 1 to 600"},
           KeyCase{"auth=", 65, "has no value"},
           KeyCase{"auth", 65, "in line 3 "},
       }) {
    const std::string ini = "[web]\n" + remote + row.keys + "\n";
    const Outcome outcome = RunWith(ini, "--target @web save x.ini");
    EXPECT_EQ(outcome.exitCode, row.exitCode) << row.keys << ": " << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(row.text)) << row.keys;
  }
  // What the command line says goes over the file.
  EXPECT_THAT(
      RunWith("[web]\n" + remote + "cacert=ca.pem\n", "--target @web --cacert b save x.ini").err,
      HasSubstr("\"b\", does not exist"));
}

TEST_F(NamedTargetTest, AFileThatNamesNoSuchServerOrIsNotTrustedIsRefused) {
  const std::string ini = "[web]\ncacert=ca.pem\n[rack]\ntarget=machine:deep/server.json\n";
  EXPECT_THAT(RunWith(ini, "--target @web save x.ini").err,
              HasSubstr("no target=KIND:PLACE in [web]"));
  const Outcome unknown = RunWith(ini, "--target @rock save x.ini");
  EXPECT_EQ(unknown.exitCode, 64);
  EXPECT_THAT(unknown.err, AllOf(HasSubstr("targets.ini"), HasSubstr("did you mean \"rack\"?")));
  EXPECT_EQ(RunWith(ini, "--target @rack --target @rack save x.ini").exitCode, 64);
  fs::permissions(PathOf("config/saverestore/targets.ini"), fs::perms::group_write,
                  fs::perm_options::add);
  const Outcome open = RunWith("", "--target @rack save x.ini");
  EXPECT_EQ(open.exitCode, 77);
  EXPECT_THAT(open.err, HasSubstr("chmod go-w"));
  EXPECT_FALSE(fs::exists(PathOf("x.ini")));
}

}  // namespace
}  // namespace Test
