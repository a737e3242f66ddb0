// Whole files: the example machines against files that people have read, machines captured from
// real servers, and saves that are cut off at every query.
#include <cstdlib>

#include "ini/IniDocument.h"
#include "modules/save/BiosTree.h"
#include "modules/save/FileHeader.h"
#include "modules/save/RestoreFixture.h"
#include "providers/machine/MachineProvider.h"
#include "support/Paths.h"

namespace Test {
namespace {

const std::string kSource = SourceFolder();

class GoldenTest : public EngineTest, public ::testing::WithParamInterface<const char*> {
 protected:
  std::string Saved(const std::string& machine, int mode) {
    Mount(std::make_shared<Machine::MachineProvider>(machine));
    OpenSaveRestore().Save(Options(PathOf("x.ini"), mode));
    return ReadText(PathOf("x.ini"));
  }
};

TEST_P(GoldenTest, AnExampleMachineIsSavedAsItWasReviewed) {
  const std::string machine = ExampleMachine(GetParam());
  const std::string bios = Saved(machine, 0);
  const std::string bmc = Saved(machine, 1);
  for (const auto& [part, text] : {std::pair{"-bios.ini", bios}, {"-bmc.ini", bmc}}) {
    const std::string golden = kSource + "/tests/golden/" + GetParam() + part;
    if (std::getenv("SAVERESTORE_REWRITE_GOLDEN") != nullptr) WriteText(golden, text);
    EXPECT_EQ(text, ReadText(golden)) << "SAVERESTORE_REWRITE_GOLDEN=1 rewrites it";
  }
  // Both parts together are the BMC's file with the BIOS part, without its [SYSTEM], behind it.
  const std::size_t behindSystem = bios.find("\n[", bios.find("\n[SYSTEM]") + 1) + 1;
  EXPECT_EQ(Saved(machine, 2), bmc + bios.substr(behindSystem));
}

INSTANTIATE_TEST_SUITE_P(Machines, GoldenTest, ::testing::ValuesIn(kExamples), kNameItself);

class CapturedTest : public GoldenTest {};

TEST_P(CapturedTest, EverySettingOfARealServerIsSavedWithItsValue) {
  const std::string path = kSource + "/../shared/data/machines/" + GetParam();
  if (!std::filesystem::exists(path)) GTEST_SKIP() << GetParam() << " is not here";
  const Machine::MachineImage machine = Machine::LoadMachine(path);
  IniDocument document;
  ASSERT_EQ(document.Parse(Saved(path, 0)), IniDocument::Status::Ok);
  int settings = 0;
  for (const auto& [menuPath, menu] : machine.nodes) {
    if (menu.kind != NODE_MENU) continue;
    const std::string section = SDK::BiosTree::SectionName(menuPath);
    for (const std::string& child : menu.values) {
      if (machine.nodes.at(child).kind != NODE_SETTING) continue;
      const auto* entry = document.Find(section, child.substr(menuPath.size() + 1));
      ASSERT_NE(entry, nullptr) << child;
      EXPECT_EQ(entry->value, machine.nodes.at(child).values.at(0)) << child;
      ++settings;
    }
  }
  constexpr std::size_t kSystemKeys = 2;
  EXPECT_EQ(document.Entries().size(), static_cast<std::size_t>(settings) + kSystemKeys);
  EXPECT_GT(settings, 300);
}

INSTANTIATE_TEST_SUITE_P(Machines, CapturedTest, ::testing::ValuesIn(kCaptured), kNameOfCaptured);

class CutOffTest : public EngineTest {};

TEST_F(CutOffTest, AFailureAtAnyQueryLeavesNoOpenFile) {
  const auto machine = std::make_shared<Machine::MachineProvider>(ExampleMachine("caldra"));
  const std::size_t before = OpenDescriptors();
  for (const int code : {int{ErrorManager::Unreachable}, int{ErrorManager::NoSuchNode}}) {
    int ended = 0;
    int calls = 1;
    for (int failAt = 1; failAt <= calls; ++failAt) {
      const auto failing = std::make_shared<FailingProvider>(machine, failAt, code);
      Mount(failing);
      const int thrown = CodeOf([&] { OpenSaveRestore().Save(Options(PathOf("x.ini"), 2)); });
      EXPECT_TRUE(thrown == 0 || thrown == 2048) << thrown;
      if (thrown != 0) ++ended;
      calls = std::max(calls, failing->Calls());
      ASSERT_EQ(OpenDescriptors(), before) << failAt;
    }
    EXPECT_GT(calls, 100);
    // The counts: LAN channels, the setup tree, and the two boot orders.
    EXPECT_EQ(ended, code == ErrorManager::Unreachable ? 4 : 0);
  }
}

/// A provider that fails in a way that no read swallows.
class BrokenProvider final : public FakeProvider {
 public:
  void Read(const std::string& path, NodeMap& results) override {
    if (path == "/BMC/PEF/STATUS") throw std::runtime_error("broken");
    FakeProvider::Read(path, results);
  }
};

TEST_F(CutOffTest, AFailureThatIsNoStatusClosesTheFileAndGoesOn) {
  Mount(std::make_shared<BrokenProvider>());
  const std::size_t before = OpenDescriptors();
  EXPECT_THROW(OpenSaveRestore().Save(Options(PathOf("x.ini"), 1)), std::runtime_error);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_TRUE(ReadText(PathOf("x.ini")).starts_with(SDK::kFileHeader));
}

}  // namespace
}  // namespace Test
