// Parts of files: selections, what files share, layers, and the commands that take them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "plan/Layers.h"
#include "plan/Template.h"
#include "support/FileEdit.h"
#include "tool/ToolFixture.h"

namespace Test {
namespace {

using Planning::Configuration;
using Planning::Setting;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Two machines of the test's own and a save of each.
class DriftTest : public ToolTest {
 protected:
  DriftTest() {
    for (const char* name : {"caldra", "oskent"}) {
      EXPECT_EQ(Run("--target " + Example(name) + " save " + name + ".ini").exitCode, 0);
    }
    saved = ReadText(PathOf("caldra.ini"));
    whole = Planning::ConfigurationFile(PathOf("caldra.ini")).Content();
  }
  [[nodiscard]] Outcome OnCaldra(const std::string& arguments) const {
    return Run("--target " + Example("caldra") + " " + arguments);
  }
  /// The whole with some values changed and some settings gone.
  [[nodiscard]] Configuration Changed(std::mt19937& random) const {
    Configuration changed;
    for (Setting setting : whole.Settings()) {
      const auto chance = random() % 8;
      if (chance == 0) continue;
      if (chance == 1) setting.value += std::to_string(random() % 2);
      if (chance == 2) setting.value = Planning::Upper(setting.value);
      changed.AddSection(setting.section);
      changed.Add(setting);
    }
    return changed;
  }

  std::string saved;
  Configuration whole;
};

TEST_F(DriftTest, WhatFilesShareIsInEachAndNothingElseIs) {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): repeatable
  for (int round = 0; round < 20; ++round) {
    std::vector<Configuration> files;
    for (int count = 2; count < 5; ++count) files.push_back(Changed(random));
    const Configuration common = Planning::CommonTo(files);
    for (const Configuration& file : files) {
      Planning::Comparison comparison = Compare(common, file);
      comparison.IgnoreWhatIsOnlyRight();
      ASSERT_TRUE(comparison.IsEmpty()) << round;
    }
    for (const Setting& setting : files.front().Settings()) {
      if (setting.section == "SYSTEM" || common.Find(setting.section, setting.key)) continue;
      ASSERT_TRUE(std::ranges::any_of(files, [&](const Configuration& file) {
        const Setting* other = file.Find(setting.section, setting.key);
        return other == nullptr || !SameValue(setting, *other);
      })) << setting.Name();
    }
    ASSERT_TRUE(common.Of("SYSTEM").empty() ||
                common.Of("SYSTEM").size() == files.front().Of("SYSTEM").size());
  }
}

TEST_F(DriftTest, ASelectionAndItsComplementAreTheWhole) {
  for (const std::string pattern : {"POWER", "BIOS::*", "*::UserName", "CHANNEL::LAN?::*IP", "*"}) {
    const Configuration with = Planning::Selection{{pattern}, {}}.Of(whole);
    const Configuration without = Planning::Selection{{}, {pattern}}.Of(whole);
    std::size_t found = 0;
    for (const Setting& setting : whole.Settings()) {
      if (setting.section == "SYSTEM") continue;
      ++found;
      ASSERT_NE(with.Find(setting.section, setting.key) == nullptr,
                without.Find(setting.section, setting.key) == nullptr)
          << setting.Name() << " and " << pattern;
    }
    const auto counted = [](const Configuration& part) {
      return part.Settings().size() - part.Of("SYSTEM").size();
    };
    EXPECT_EQ(counted(with) + counted(without), found) << pattern;
  }
}

TEST_F(DriftTest, ABaselineHasNoPlaceholderThatItWasNotGiven) {
  std::mt19937 random(11);  // NOLINT(cert-msc51-cpp): repeatable
  for (int round = 0; round < 200; ++round) {
    std::string text;
    for (int length = 0; length < 40; ++length) text += "$${};=\nA"[random() % 8];
    const std::string baseline = Planning::AsBaseline(text);
    ASSERT_EQ(Planning::Filled(baseline, "x.ini", {}),
              std::string(Planning::kBaselineLine) + "\n" + text);
  }
}

TEST_F(DriftTest, ExtractMakesABaselineThatBothServersHave) {
  ASSERT_EQ(Run("extract caldra.ini oskent.ini --common --baseline -o base.ini").exitCode, 0);
  EXPECT_THAT(ReadText(PathOf("base.ini")), StartsWith("; saverestore baseline 1\n"));
  for (const char* name : {"caldra", "oskent"}) {
    const std::string target = "--target " + Example(name);
    EXPECT_EQ(Run(target + " diff --baseline base.ini").exitCode, 0) << name;
    EXPECT_EQ(Run(target + " diff base.ini").exitCode, 1) << name;
    EXPECT_EQ(Run(target + " verify base.ini --set POWER::PowerRestorePolicy=OTHER").exitCode, 1);
  }
  const Outcome part = Run("extract caldra.ini --only POWER --except 'SYSTEM'");
  EXPECT_EQ(part.exitCode, 0) << part.err;
  EXPECT_EQ(ValuesOf(part.out).size(), whole.Of("POWER").size());
  EXPECT_EQ(Run("extract caldra.ini --only 'POWER' --except '*'").exitCode, 1);
  EXPECT_EQ(Run("extract caldra.ini oskent.ini --only POWER").exitCode, 64);
  EXPECT_EQ(Run("extract caldra.ini").exitCode, 64);
}

TEST_F(DriftTest, WhatARestoreNeverWritesIsNoDifference) {
  std::string text = WithValue(saved, "CHANNEL::LAN1", "HostIP", "192.0.2.99");
  text = WithValue(text, "USERS::USER1", "UserName", "somebody");
  text = WithValue(text, "LANCHANNELS", "NumberOfLANChannels", "7");
  WriteText(PathOf("x.ini"), text);
  for (const std::string command : {"diff", "verify"}) {
    const Outcome same = OnCaldra(command + " x.ini");
    EXPECT_EQ(same.exitCode, 0) << same.out;
    EXPECT_THAT(same.out, HasSubstr("3 differences in what is the host's own"));
    EXPECT_THAT(OnCaldra(command + " --all x.ini").out, HasSubstr("192.0.2.99"));
    const auto document = nlohmann::json::parse(OnCaldra(command + " --json x.ini").out);
    EXPECT_EQ(document["own"].size(), 3U);
    EXPECT_EQ(document["different"].size(), 0U);
  }
  // Fail-over makes the second channel follow the first: its settings are no longer the file's.
  text = WithValue(saved, "CHANNEL::LAN2", "ARPInterval", "3");
  WriteText(PathOf("x.ini"), text);
  EXPECT_EQ(OnCaldra("diff --baseline --only 'CHANNEL::*' x.ini").exitCode, 1);
  WriteText(PathOf("x.ini"), WithValue(text, "LANCHANNELS", "LANFailOver", "Enable"));
  EXPECT_EQ(OnCaldra("verify --only 'CHANNEL::*' --only LANCHANNELS x.ini").exitCode, 1);
  EXPECT_THAT(OnCaldra("diff x.ini").out, HasSubstr("1 difference in what is the host's own"));
}

TEST_F(DriftTest, StandardStreamsStandForFiles) {
  const std::string tool = ToolProgram();
  const std::string target = tool + " --target " + Example("caldra");
  ASSERT_EQ(Run("convert caldra.ini caldra.scf").exitCode, 0);
  for (const std::string& source : {target + " save -", std::string("cat caldra.scf")}) {
    EXPECT_EQ(Shell("(" + source + " | " + target + " diff -)").exitCode, 0) << source;
    EXPECT_EQ(Shell("(" + source + " | " + target + " verify -)").exitCode, 0) << source;
    EXPECT_EQ(Shell("(" + source + " | " + target + " check -)").exitCode, 0) << source;
    EXPECT_THAT(Shell("(" + source + " | " + tool + " show -)").out, StartsWith("standard input:"));
  }
  EXPECT_EQ(OnCaldra("save -").out, saved);
  EXPECT_EQ(Shell("(" + target + " save - >/dev/full)").exitCode, 2);
  EXPECT_EQ(Shell("(cat caldra.ini | " + tool + " diff - -)").exitCode, 64);
  const Outcome bad = Shell("(echo oops | " + tool + " show -)");
  EXPECT_EQ(bad.exitCode, 65);
  EXPECT_THAT(bad.err, HasSubstr("standard input:1:"));
}

TEST_F(DriftTest, APartIsSavedAndLookedAt) {
  const Outcome part = OnCaldra("save --only 'BIOS::Main*' --except '*::Quiet Boot' part.ini");
  EXPECT_EQ(part.exitCode, 0);
  EXPECT_THAT(part.out, StartsWith("Saved a part into part.ini: "));
  EXPECT_THAT(ReadText(PathOf("part.ini")), ::testing::Not(HasSubstr("Quiet Boot=")));
  EXPECT_EQ(OnCaldra("diff --baseline part.ini").exitCode, 0);
  EXPECT_EQ(OnCaldra("save --only POWER part.scf").exitCode, 64);
  EXPECT_EQ(OnCaldra("save --only 'POWRE::*' none.ini").exitCode, 64);
  EXPECT_FALSE(std::filesystem::exists(PathOf("none.ini")));
  // A fault outside of the selection is none of it.
  std::string text = WithValue(saved, "POWER", "PowerRestorePolicy", "Restor");
  WriteText(PathOf("x.ini"), WithValue(text, "POWER", "Nothing", "1"));
  EXPECT_EQ(Run("check --only 'USERS::*' x.ini").exitCode, 0);
  EXPECT_EQ(OnCaldra("check --only 'USERS::*' x.ini").exitCode, 0);
  EXPECT_EQ(OnCaldra("check --only 'POWER' x.ini").exitCode, 65);
  // Later layers go over earlier ones, and a wildcard stands for what the target has.
  WriteText(PathOf("base.ini"), "; saverestore baseline 1\n[USERS::USER*]\nUserName=${NAME}\n");
  WriteText(PathOf("rack.ini"), "[USERS::USER3]\nUserName=Mira.Holt\n");
  const Outcome over = OnCaldra("diff --baseline --var NAME=other base.ini rack.ini");
  EXPECT_EQ(over.exitCode, 1);
  EXPECT_THAT(over.out, ::testing::Not(HasSubstr("USERS::USER3")));
  EXPECT_THAT(over.out, HasSubstr("USERS::USER4::UserName"));
}

}  // namespace
}  // namespace Test
