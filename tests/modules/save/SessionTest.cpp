#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "query/XDirector.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;

class SessionTest : public EngineTest {};

TEST_F(SessionTest, TheNineOlderFamiliesAreKnownByThePlatformNameAlone) {
  for (const char* older : {"TARVEN_PLATFORM", "QUILMOR_PLATFORM", "HEMLIT_PLATFORM",
                            "DORRIK_PLATFORM", "PALVERN_PLATFORM", "TARVEN_PLATFORM2",
                            "TARVEN_PLATFORM3", "OSKENT_PLATFORM", "VEXHAM_PLATFORM"}) {
    SetServer(older, "CALDRA", "CALDRA_PLATFORM");
    EXPECT_FALSE(OpenSaveRestore().passwordCommitPlatform) << older;
  }
  for (const char* newer : {"", "CALDRA_PLATFORM", "TARVEN_PLATFORM4", "TARVEN_PLATFORM ",
                            "tarven_platform", "OSKENT", "HEMLIT_PLATFORM2"}) {
    SetServer(newer, "OSKENT", "OSKENT_PLATFORM");
    EXPECT_TRUE(OpenSaveRestore().passwordCommitPlatform) << newer;
  }
}

TEST_F(SessionTest, ReadsProductThenBoardAndNothingElse) {
  SetServer("CALDRA_PLATFORM", "CALDRA", "C4120CAL");
  const OpenSaveRestore module;
  EXPECT_EQ(module.productName, "CALDRA");
  EXPECT_EQ(module.platformId, "C4120CAL");
  EXPECT_THAT(engine->reads, ElementsAre("/BMC/INFO/PRODUCT", "/BIOS/PlatformID"));
  EXPECT_TRUE(module.readCacheEnabled);
  EXPECT_FALSE(module.skipBootOrder || module.lanFailOver);
}

TEST_F(SessionTest, ASecondObjectKeepsTheFirstOnesPlatform) {
  SetServer("OSKENT_PLATFORM", "OSKENT");
  const OpenSaveRestore first;
  engine->platform = "CALDRA_PLATFORM";
  EXPECT_FALSE(OpenSaveRestore().passwordCommitPlatform);
}

TEST_F(SessionTest, AnUnreachableServerGivesEmptyTexts) {
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
  const OpenSaveRestore module;
  EXPECT_EQ(module.productName + module.platformId, "");
  EXPECT_TRUE(module.passwordCommitPlatform);
}

TEST_F(SessionTest, TheExtensionChoosesTheForm) {
  OpenSaveRestore module;
  for (const char* name : {"a.ini", "a.INI", "/x.y/.ini.ini"}) {
    EXPECT_EQ(module.ValidateFileName(name), 0);
    EXPECT_FALSE(module.isScfFile);
  }
  for (const char* name : {"a.scf", "a.SCF"}) {
    EXPECT_EQ(module.ValidateFileName(name), 0);
    EXPECT_TRUE(module.isScfFile);
  }
  for (const char* name : {".ini", ".scf", "a.Ini", "a.Scf", "a.txt", "abcde", "abcd", "a.ini "}) {
    EXPECT_EQ(CodeOf([&] { module.ValidateFileName(name); }), 1040) << name;
  }
  for (const char* name : {"", "ab", "ini"}) {
    EXPECT_THROW(module.ValidateFileName(name), std::out_of_range) << name;
  }
}

TEST_F(SessionTest, EveryFailureThatASaveCanReach) {
  const auto save = [](const std::string& name, int mode) {
    return CodeOf([&] { OpenSaveRestore().Save(Options(name, mode)); });
  };
  EXPECT_EQ(save("a.txt", 2), 1040);
  EXPECT_EQ(save(PathOf("missing/a.ini"), 2), 1041);
  std::filesystem::create_symlink("/dev/full", PathOf("full.ini"));
  EXPECT_EQ(save(PathOf("full.ini"), 2), 1041);
  EXPECT_EQ(save(PathOf("missing/a.scf"), 2), 1178);
  EXPECT_EQ(save("a.scf", 3), 1180);
  EXPECT_EQ(save("a.scf", -1), 1180);
  EXPECT_EQ(save(PathOf("mode3.ini"), 3), 0);
}

TEST_F(SessionTest, FieldsWithoutTheirTerminatorAreReadToTheirEndOnly) {
  struct {
    SDK::SavenRestoreOptions options;
    char guard[8];
  } record = {};
  std::memset(&record, 'x', sizeof record);
  record.options.mode = 1;
  std::memcpy(record.options.fileName + sizeof record.options.fileName - 4, ".ini", 4);
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(record.options); }), 1041);  // name too long
}

TEST_F(SessionTest, ANewFileIsForItsOwnerAloneAndAnOldOneIsReplaced) {
  SetServer("X", "Y");
  WriteText(PathOf("a.ini"), std::string(100'000, 'x'));
  OpenSaveRestore().Save(Options(PathOf("a.ini"), 0));
  EXPECT_LT(ReadText(PathOf("a.ini")).size(), 1000U);
  const mode_t before = umask(0);
  OpenSaveRestore().Save(Options(PathOf("b.ini"), 0));
  umask(before);
  struct stat facts = {};
  ASSERT_EQ(stat(PathOf("b.ini").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
}

TEST_F(SessionTest, ASaveReadsThroughTheCache) {
  OpenSaveRestore module;
  module.readCacheEnabled = false;
  module.Save(Options(PathOf("a.ini"), 0));
  EXPECT_TRUE(module.readCacheEnabled);
}

TEST_F(SessionTest, ADestroyedObjectLeavesNoPasswordBehind) {
  alignas(OpenSaveRestore) std::array<char, sizeof(OpenSaveRestore)> memory = {};
  auto* module = new (memory.data()) OpenSaveRestore;
  module->biosPassword = "example-admin";
  std::destroy_at(module);
  // Without its first letter: emptying a text alone would hide only that one.
  EXPECT_EQ(std::string_view(memory.data(), memory.size()).find("xample"), std::string::npos);
}

}  // namespace
}  // namespace Test
