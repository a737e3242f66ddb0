#include "common/AtomicFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using Common::AtomicFile;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class AtomicFileTest : public EngineTest {
 protected:
  [[nodiscard]] std::size_t Files() const {
    const std::filesystem::directory_iterator files(PathOf(""));
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }
};

TEST_F(AtomicFileTest, AppearsWholeAndForItsOwnerAlone) {
  AtomicFile file(PathOf("x.ini"));
  EXPECT_THAT(file.TemporaryPath(), EndsWith(".ini"));
  file.Write("one ");
  file.Write("two");
  EXPECT_FALSE(std::filesystem::exists(PathOf("x.ini")));
  file.Commit(AtomicFile::Existing::Keep);
  EXPECT_EQ(ReadText(PathOf("x.ini")), "one two");
  struct stat facts = {};
  ASSERT_EQ(stat(PathOf("x.ini").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0600U);
  EXPECT_EQ(Files(), 1U);
}

TEST_F(AtomicFileTest, WithoutACommitNothingIsLeft) {
  WriteText(PathOf("x.ini"), "old");
  AtomicFile(PathOf("x.ini")).Write("new");
  EXPECT_EQ(ReadText(PathOf("x.ini")), "old");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(AtomicFileTest, ReplacesOrKeepsAnExistingFile) {
  WriteText(PathOf("x"), "old");
  {
    AtomicFile keep(PathOf("x"));
    EXPECT_EQ(CodeOf([&] { keep.Commit(AtomicFile::Existing::Keep); }), ErrorManager::WriteFailed);
  }
  EXPECT_EQ(ReadText(PathOf("x")), "old");
  AtomicFile replace(PathOf("x"));
  replace.Write("new");
  replace.Commit(AtomicFile::Existing::Replace);
  EXPECT_EQ(ReadText(PathOf("x")), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(AtomicFileTest, ALinkStaysOneAndItsFileIsReplaced) {
  WriteText(PathOf("store.dat"), "old");
  std::filesystem::create_symlink("store.dat", PathOf("x.ini"));
  AtomicFile file(PathOf("x.ini"));
  EXPECT_THAT(file.TemporaryPath(), EndsWith(".ini"));
  file.Write("new");
  file.Commit(AtomicFile::Existing::Replace);
  EXPECT_TRUE(std::filesystem::is_symlink(PathOf("x.ini")));
  EXPECT_EQ(ReadText(PathOf("store.dat")), "new");
}

TEST_F(AtomicFileTest, WhatAKilledProcessHasLeftGoesAndWhatIsHeldStays) {
  const AtomicFile held(PathOf("x.ini"));
  WriteText(PathOf(".x.saverestore-abcdef.ini"), "left");
  WriteText(PathOf(".y.saverestore-abcdef.ini"), "another's");
  const AtomicFile next(PathOf("x.ini"));
  EXPECT_TRUE(std::filesystem::exists(held.TemporaryPath()));
  EXPECT_FALSE(std::filesystem::exists(PathOf(".x.saverestore-abcdef.ini")));
  EXPECT_TRUE(std::filesystem::exists(PathOf(".y.saverestore-abcdef.ini")));
}

TEST_F(AtomicFileTest, AMissingFolderIsNamed) {
  try {
    const AtomicFile file(PathOf("missing/x.ini"));
    FAIL();
  } catch (const ResultStatus& failure) {
    EXPECT_EQ(failure.getval(), ErrorManager::WriteFailed);
    EXPECT_THAT(failure.message(), HasSubstr("missing/x.ini could not be written: No such file"));
  }
}

}  // namespace
}  // namespace Test
