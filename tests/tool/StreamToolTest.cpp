// Stream files on the command line: wherever a text file is taken, a stream file is.
#include "tool/ToolFixture.h"

namespace Test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct Twin {
  const char* machine;
  const char* mode;
};

class StreamToolTest : public ToolTest {
 protected:
  StreamToolTest() {
    std::filesystem::copy_file(kSource + "/examples/machines/caldra-server.json", PathOf("m.json"));
    WriteText(PathOf("pw"), "example-admin\n");
  }

  /// Runs the tool on the machine in the test's folder.
  [[nodiscard]] Outcome OnMachine(const std::string& arguments) const {
    return Run("--target machine:m.json " + arguments);
  }
};

class StreamTwinToolTest : public ToolTest, public ::testing::WithParamInterface<Twin> {};

TEST_P(StreamTwinToolTest, BothFormsOfASaveAreTheSameConfiguration) {
  const std::string save =
      "--target " + Example(GetParam().machine) + " save --mode " + GetParam().mode;
  ASSERT_EQ(Run(save + " x.ini").exitCode, 0);
  ASSERT_EQ(Run(save + " x.scf").exitCode, 0);
  EXPECT_EQ(ModeBits(PathOf("x.scf")), 0600U);
  for (const char* files : {"x.ini x.scf", "x.scf x.ini"}) {
    const Outcome diff = Run(std::string("diff ") + files);
    EXPECT_EQ(diff.exitCode, 0) << diff.out;
    EXPECT_THAT(diff.out, IsEmpty());
  }
  ASSERT_EQ(Run("convert x.scf back.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("back.ini")), ReadText(PathOf("x.ini")));
  ASSERT_EQ(Run("convert x.ini back.scf").exitCode, 0);
  EXPECT_EQ(Run("--target " + Example(GetParam().machine) + " diff back.scf").exitCode, 0);
  EXPECT_EQ(Run("--target " + Example(GetParam().machine) + " check back.scf").exitCode, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StreamTwinToolTest,
    ::testing::Values(Twin{"caldra", "bios"}, Twin{"caldra", "bmc"}, Twin{"caldra", "all"},
                      Twin{"oskent", "bios"}, Twin{"oskent", "bmc"}, Twin{"oskent", "all"},
                      Twin{"r8810lqe", "bios"}, Twin{"r8810lqe", "bmc"}, Twin{"r8810lqe", "all"}),
    [](const auto& row) { return std::string(row.param.machine) + row.param.mode; });

TEST_F(StreamToolTest, AnEditedTextFileIsRestoredAsAStream) {
  ASSERT_EQ(OnMachine("save x.ini").exitCode, 0);
  std::string text = ReadText(PathOf("x.ini"));
  text.replace(text.find("\nQuiet Boot=1"), 13, "\nQuiet Boot=0");
  WriteText(PathOf("x.ini"), text);
  ASSERT_EQ(Run("convert x.ini x.scf").exitCode, 0);
  EXPECT_THAT(OnMachine("diff x.scf").out, HasSubstr("Quiet Boot  Enabled (1) → Disabled (0)"));
  const Outcome restore = OnMachine("restore --yes --no-backup --password-file pw x.scf");
  EXPECT_EQ(restore.exitCode, 0) << restore.err;
  EXPECT_THAT(restore.out, HasSubstr("Disabled (0)  applied"));
  ASSERT_EQ(OnMachine("save after.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("after.ini")), text);
}

TEST_F(StreamToolTest, ADamagedFileIsRefusedByEveryCommandAndWritesNothing) {
  ASSERT_EQ(OnMachine("save x.scf").exitCode, 0);
  const std::string machine = ReadText(PathOf("m.json"));
  std::string bytes = ReadText(PathOf("x.scf"));
  bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
  WriteText(PathOf("bad.scf"), bytes);
  for (const char* command :
       {"restore --yes --password-file pw bad.scf", "diff bad.scf", "check bad.scf", "show bad.scf",
        "convert bad.scf bad.ini", "diff x.scf bad.scf"}) {
    const Outcome outcome = OnMachine(command);
    EXPECT_EQ(outcome.exitCode, 65) << command;
    EXPECT_THAT(outcome.err, HasSubstr("\"bad.scf\" is refused: its digest is wrong")) << command;
  }
  EXPECT_EQ(ReadText(PathOf("m.json")), machine);
  EXPECT_THAT(Files(), ::testing::ElementsAre("bad.scf", "m.json", "pw", "x.scf"));
}

TEST_F(StreamToolTest, AFileThatLacksTheModesBlocksIsRefusedBeforeAnythingIsWritten) {
  ASSERT_EQ(OnMachine("save --mode bmc x.scf").exitCode, 0);
  const Outcome outcome =
      OnMachine("restore --yes --mode all --no-backup --password-file pw x.scf");
  EXPECT_EQ(outcome.exitCode, 65);
  EXPECT_THAT(outcome.err, HasSubstr("1179"));
  EXPECT_THAT(outcome.err, HasSubstr("nothing was written"));
}

TEST_F(StreamToolTest, AFileOfAnotherServerIsNamedWithBothVersions) {
  ASSERT_EQ(Run("--target " + Example("oskent") + " save --mode bmc x.scf").exitCode, 0);
  const Outcome outcome = OnMachine("check x.scf");
  EXPECT_EQ(outcome.exitCode, 65);
  EXPECT_THAT(outcome.err + outcome.out, HasSubstr("error 1044"));
  EXPECT_THAT(outcome.err + outcome.out, HasSubstr("C41200.04.17.0031"));
}

TEST_F(StreamToolTest, ConvertKeepsWhatItCanAndSaysWhatItCannot) {
  WriteText(
      PathOf("x.ini"),
      "; mine\n[SYSTEM]\nBIOSVersion=A\n[BIOS::Main]\nk=caf\xE9\t;Options: a=b\nk=2\n[X]\na=b\n");
  const Outcome outcome = Run("convert x.ini x.scf");
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_THAT(outcome.err, HasSubstr("[X]"));
  ASSERT_EQ(Run("convert x.scf y.INI").exitCode, 0);
  const std::string text = ReadText(PathOf("y.INI"));
  EXPECT_THAT(text, HasSubstr("[BIOS::Main]\nk=caf\xE9\t;Options: a=b\nk=2\n"));
  EXPECT_THAT(text, Not(HasSubstr("mine")));
  EXPECT_EQ(Run("convert x.scf y.INI").exitCode, 2) << "it exists";
  EXPECT_EQ(Run("convert --overwrite x.scf y.INI").exitCode, 0);
}

TEST_F(StreamToolTest, ConvertTakesOneFileOfEachForm) {
  WriteText(PathOf("x.ini"), "[SYSTEM]\n");
  WriteText(PathOf("bad.ini"), "[SYSTEM]\nno line\n");
  EXPECT_EQ(Run("convert x.ini y.ini").exitCode, 64);
  EXPECT_EQ(Run("convert x.scf y.scf").exitCode, 64);
  EXPECT_EQ(Run("convert x.ini").exitCode, 64);
  EXPECT_EQ(Run("convert no.ini y.scf").exitCode, 66);
  EXPECT_EQ(Run("convert bad.ini y.scf").exitCode, 65);
  EXPECT_FALSE(std::filesystem::exists(PathOf("y.scf")));
}

}  // namespace
}  // namespace Test
