#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "modules/save/RestoreFixture.h"
#include "query/XDirector.h"

namespace Test {
namespace {

using ::testing::ElementsAre;

class SessionTest : public RestoreTest {
 protected:
  /// A name of so many bytes for a file that can be made.
  std::string LongName(std::size_t size, const char* extension) {
    const std::string folder = PathOf(std::string(200, 'a')) + "/" + std::string(200, 'b') + "/";
    std::filesystem::create_directories(folder);
    return folder + std::string(size - folder.size() - 4, 'c') + extension;
  }
};

TEST_F(SessionTest, TheNineOlderFamiliesAreKnownByThePlatformNameAlone) {
  for (const char* older : {"TARVEN_PLATFORM", "QUILMOR_PLATFORM", "HEMLIT_PLATFORM",
                            "DORRIK_PLATFORM", "PALVERN_PLATFORM", "TARVEN_PLATFORM2",
                            "TARVEN_PLATFORM3", "OSKENT_PLATFORM", "VEXHAM_PLATFORM"}) {
    SetServer(older, "CALDRA", "CALDRA_PLATFORM");
    EXPECT_FALSE(OpenSaveRestore().passwordCommitPlatform) << older;
  }
  engine->platform = "CALDRA_PLATFORM";  // a second object keeps the first one's
  EXPECT_FALSE(OpenSaveRestore().passwordCommitPlatform);
  for (const char* newer : {"", "CALDRA_PLATFORM", "TARVEN_PLATFORM4", "TARVEN_PLATFORM ",
                            "tarven_platform", "OSKENT", "HEMLIT_PLATFORM2"}) {
    SetServer(newer, "OSKENT", "OSKENT_PLATFORM");
    EXPECT_TRUE(OpenSaveRestore().passwordCommitPlatform) << newer;
  }
}

TEST_F(SessionTest, AsksForTheProductThenThePlatformThenTheBoard) {
  class Asked final : public FakeProvider {
   public:
    std::string PlatformName() override {
      reads.emplace_back("platform");
      return platform;
    }
  };
  Mount(engine = std::make_shared<Asked>());
  SetServer("CALDRA_PLATFORM", "CALDRA", "C4120CAL");
  const OpenSaveRestore module;
  EXPECT_EQ(module.productName + module.platformId, "CALDRAC4120CAL");
  EXPECT_THAT(engine->reads, ElementsAre("/BMC/INFO/PRODUCT", "platform", "/BIOS/PlatformID"));
  EXPECT_EQ(module.bmcModule.Target(), 4294967295UL);
  EXPECT_TRUE(module.readCacheEnabled);
  EXPECT_FALSE(module.skipBootOrder || module.lanFailOver);
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
  const OpenSaveRestore unreachable;
  EXPECT_EQ(unreachable.productName + unreachable.platformId, "");
}

TEST_F(SessionTest, TheExtensionChoosesTheForm) {
  OpenSaveRestore module;
  for (const auto& [name, isStream] :
       {std::pair{"a.scf", true}, {"/x.y/.ini.ini", false}, {"a.SCF", true}, {"a.INI", false}}) {
    EXPECT_EQ(module.ValidateFileName(name), 0);
    EXPECT_EQ(module.isScfFile, isStream) << name;
    // A refused name leaves that as it is.
    for (const char* bad : {".ini", ".scf", "a.Ini", "a.Scf", "a.txt", "abcde", "abcd", "a.ini "}) {
      EXPECT_EQ(CodeOf([&] { module.ValidateFileName(bad); }), 1040) << bad;
      EXPECT_EQ(module.isScfFile, isStream) << bad;
    }
  }
  for (const char* name : {"", "ab", "ini"}) {
    EXPECT_THROW(module.ValidateFileName(name), std::out_of_range) << name;
  }
}

TEST_F(SessionTest, EveryFailureThatASaveCanReach) {
  std::filesystem::create_symlink("/dev/full", PathOf("full.ini"));
  for (const auto& [name, mode, code] : {std::tuple{std::string("a.txt"), 2, 1040},
                                         {PathOf("missing/a.ini"), 2, 1041},
                                         {PathOf("full.ini"), 2, 1041},
                                         {PathOf("missing/a.scf"), 2, 1178},
                                         {"a.scf", 3, 1180},
                                         {"a.scf", -1, 1180},
                                         {PathOf("mode3.ini"), 3, 0}}) {
    const SDK::SavenRestoreOptions options = Options(name, mode);
    EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(options); }), code) << name;
  }
}

TEST_F(SessionTest, ANameThatASaveTakesARestoreTakesToo) {
  for (const auto& [extension, saved, restored] :
       {std::tuple{".ini", 1041, 1046}, {".scf", 1178, 1177}}) {
    for (const bool fits : {true, false}) {
      const SDK::SavenRestoreOptions options = Options(LongName(fits ? 511 : 512, extension), 1);
      EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(options); }), fits ? 0 : saved);
      if (!fits) WriteText(options.fileName, "[SYSTEM]\n");
      OpenSaveRestore module;
      EXPECT_EQ(CodeOf([&] { module.Restore(options); }), fits ? 0 : restored);
    }
  }
  // A field without its terminator is read to its end only.
  struct {
    SDK::SavenRestoreOptions options;
    char guard[8];
  } record = {};
  std::memset(&record, 'x', sizeof record);
  record.options.mode = 1;
  std::memcpy(record.options.fileName + sizeof record.options.fileName - 4, ".ini", 4);
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(record.options); }), 1041);
}

TEST_F(SessionTest, ANewFileIsForItsOwnerAloneAndAnOldOneIsReplaced) {
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

TEST_F(SessionTest, WhatComesBeforeAFailureHasHappened) {
  OpenSaveRestore module;
  module.readCacheEnabled = false;
  EXPECT_EQ(CodeOf([&] { module.Save(Options("a.txt", 1)); }), 1040);
  EXPECT_TRUE(module.readCacheEnabled);
  EXPECT_EQ(module.sections.size(), 0U);
  EXPECT_EQ(CodeOf([&] { module.Save(Options(PathOf("missing/a.ini"), 1)); }), 1041);
  EXPECT_EQ(module.sections.size(), 11U) << "the catalogue comes before the file";
  SDK::SavenRestoreOptions options = Options("a.txt", 0);
  options.skipBootOrder = true;
  Mount(std::make_shared<FailingProvider>(engine, 1, ErrorManager::PasswordRefused));
  EXPECT_EQ(CodeOf([&] { module.Restore(options); }), ErrorManager::PasswordRefused);
  EXPECT_TRUE(module.skipBootOrder);
}

TEST_F(SessionTest, EveryOperationReadsItsFileAnew) {
  OpenSaveRestore module;
  std::map<std::string, std::string> info;
  Menu("/BIOS/Main", {{"Quiet Boot", "1"}});
  for (const char* value : {"0", "2"}) {
    WriteText(PathOf("x.ini"), std::string("[SYSTEM]\nBIOSVersion=") + value +
                                   "\nFWBootVersion=1\nFWOpcodeVersion=2\n");
    module.GetInventoryFromFile(info, PathOf("x.ini").c_str());
    EXPECT_EQ(info["BIOSVersion"], value);
    SDK::SavenRestoreOptions options = Options(PathOf("x.ini"), 0);
    options.skipSystemCheck = options.skipBootOrder = true;
    WriteText(PathOf("x.ini"), std::string("[BIOS::Main]\nQuiet Boot=") + value + "\n");
    module.Restore(options);
    EXPECT_EQ(engine->tree["/BIOS/Main/Quiet Boot"].values.front(), value);
  }
  OpenSaveRestore fresh;
  EXPECT_EQ(CodeOf([&] { fresh.GetInventoryFromFile(info, "no.ini"); }), 1043);
  EXPECT_EQ(fresh.sections.size(), 11U);
  ASSERT_EQ(mkfifo(PathOf("fifo.ini").c_str(), 0600), 0);
  EXPECT_EQ(CodeOf([&] { fresh.Restore(Options(PathOf("fifo.ini"), 1)); }), 1046);
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
