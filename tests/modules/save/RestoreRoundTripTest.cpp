// Save, restore, save again: over the example machines and the captured ones, which refuse what
// their real counterparts would refuse.
#include <array>
#include <random>

#include "modules/save/BiosTree.h"
#include "modules/save/Expansion.h"
#include "modules/save/RestoreFixture.h"
#include "providers/machine/MachineProvider.h"
#include "support/Paths.h"

namespace Test {
namespace {

using Edit = std::array<std::string, 3>;  // section, key, value

class RoundTripTest : public RestoreTest {
 protected:
  /// Makes the server a machine in a file of its own, which the test may change.
  void Use(const std::string& machine) {
    image = Machine::LoadMachine(machine);
    Machine::StoreMachine(image, PathOf("machine.json"));
    Mount(std::make_shared<Machine::MachineProvider>(PathOf("machine.json")));
  }

  void RestoreOnMachine(const std::string& text, int mode, bool skipSystemCheck = false) {
    WriteText(PathOf("x.ini"), text);
    SDK::SavenRestoreOptions options = Options(PathOf("x.ini"), mode);
    image.adminPassword.copy(options.password, sizeof options.password - 1);
    options.skipSystemCheck = skipSystemCheck;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(options); }), 0);
    printed = ::testing::internal::GetCapturedStdout();
  }

  Machine::MachineImage image;
  std::string printed;
};

class ExampleRoundTripTest : public RoundTripTest,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(ExampleRoundTripTest, ARestoreOfWhatWasSavedChangesNotAByte) {
  for (const int mode : {0, 1, 2}) {
    Use(ExampleMachine(GetParam()));
    const std::string machine = ReadText(PathOf("machine.json"));
    const std::string before = Saved(mode);
    RestoreOnMachine(before, mode);
    EXPECT_EQ(Saved(mode), before) << mode;
    EXPECT_EQ(ReadText(PathOf("machine.json")), machine) << mode;
  }
}

TEST_P(ExampleRoundTripTest, AScrambledServerBecomesWhatWasSaved) {
  Load(GetParam());
  const std::string before = Saved(2);
  Restore(before, 2);
  const auto scramble = [&](const std::string& path) {
    _XNode& node = engine->tree[path];
    // What is reserved, or empty in the BIOS, is in no file or says nothing in it.
    const bool isKept = node.kind != NODE_SETTING || node.flag || node.values.empty() ||
                        node.values[0].empty() || SDK::Expansion::IsReserved(node.values[0]);
    if (!isKept) node.values = {"scrambled"};
  };
  for (const auto& [path, value] : BmcBatch()) scramble(path);
  for (const auto& [path, node] : NodeMap(engine->tree)) {
    if (path.starts_with("/BMC/PEF") && path.ends_with("]/STATUS")) scramble(path);
    if (node.kind == NODE_MENU) std::ranges::for_each(node.values, scramble);
  }
  for (const std::string order : {"/BIOS/BootOrder[", "/BMC/BOOTORDER[1]/HDD["}) {
    const auto last = engine->tree.find(order + "2]");
    if (last == engine->tree.end()) continue;
    std::swap(last->second.values, engine->tree[order + "1]"].values);
  }
  EXPECT_GT(DifferenceOf(before, Saved(2)).size(), 60U);
  Restore(before, 2);
  EXPECT_EQ(DifferenceOf(before, Saved(2)), (std::map<std::string, std::string>()));
}

INSTANTIATE_TEST_SUITE_P(Machines, ExampleRoundTripTest, ::testing::ValuesIn(kExamples),
                         kNameItself);

/// An edit, and the value that the server has afterwards; null: it keeps its own.
struct EditRow {
  const char* section;
  const char* key;
  const char* value;
  const char* applied;
};

constexpr EditRow kEditRows[] = {
    {"BIOS::Main", "Quiet Boot", "0", "0"},
    {"PEF::FILTERS", "Filter3", "DISABLE", "DISABLE"},
    {"BIOS::BootOrder", "Internal Shell", "2", "2"},
    {"BIOS::BootOrder", "Disk A 480 GB", "1", "1"},
    {"BootOrder::Hard Disk", "Disk A 480 GB (Port 0)", "3", "3"},
    {"BootOrder::Hard Disk", "Disk C 4 TB (Port 4)", "1", "1"},
    {"USERS::USER3", "UserName", "New.Name", "New.Name"},
    {"USERS::USER3", "PrivilegeChl1", "CALLBACK", "CALLBACK"},
    {"CHANNEL::LAN1::SOL", "SolRetryInterval", "129", "120"},
    {"CHANNEL::LAN1", "AlertIP1", "192.0.2.77", "192.0.2.77"},
    {"POWER", "PowerRestorePolicy", "OFF", "OFF"},
    {"EMAILCONFIG::CHANNEL1::INFO", "Subject", "Alarm in Row 7", "Alarm in Row 7"},
    {"PEF", "PEFEnable", "disable", "DISABLE"},
    {"CHANNEL::LAN1", "HostIP", "192.0.2.200", nullptr},
    {"CHANNEL::LAN1", "SubnetMask", "255.0.0.0", nullptr},
    {"CHANNEL::LAN2", "GatewayIP", "192.0.2.201", nullptr},
    {"USERS::USER1", "UserName", "somebody", nullptr},
};

TEST_F(RoundTripTest, OfAnEditedFileExactlyTheEditedLinesDiffer) {
  Use(ExampleMachine("caldra"));
  const std::string before = Saved(2);
  std::string edited = before;
  std::map<std::string, std::string> applied;
  for (const EditRow& row : kEditRows) {
    const std::string name = std::string(row.section) + "::" + row.key;
    ASSERT_TRUE(ValuesOf(edited).contains(name)) << name;
    edited = WithValue(edited, row.section, row.key, row.value);
    if (row.applied != nullptr) applied[name] = row.applied;
  }
  RestoreOnMachine(edited, 2);
  EXPECT_EQ(DifferenceOf(before, Saved(2)), applied);
}

class CapturedRoundTripTest : public RoundTripTest,
                              public ::testing::WithParamInterface<const char*> {
 protected:
  /// Every edit of the file that picks another option of a setting that can be written.
  [[nodiscard]] std::vector<Edit> PossibleEdits(const std::string& saved) const {
    const std::map<std::string, std::string> values = ValuesOf(saved);
    std::vector<Edit> edits;
    for (const auto& [menuPath, menu] : image.nodes) {
      if (menu.kind != NODE_MENU) continue;
      for (const std::string& path : menu.values) {
        const _XNode& setting = image.nodes.at(path);
        const auto constraint = image.constraints.find(path);
        const std::string key = path.substr(menuPath.size() + 1);
        const auto value = values.find(SDK::BiosTree::SectionName(menuPath) + "::" + key);
        const bool isPlain = key.find_first_of("=[;\\") == std::string::npos &&
                             key.find_first_not_of(' ') == 0 && !key.ends_with(' ');
        if (value == values.end() || !isPlain || setting.options.size() < 2) continue;
        if (constraint != image.constraints.end() && !constraint->second.writable) continue;
        const auto other = std::ranges::find_if(
            setting.options, [&](const auto& option) { return option.first != value->second; });
        edits.push_back({SDK::BiosTree::SectionName(menuPath), key, other->first});
      }
    }
    return edits;
  }
};

TEST_P(CapturedRoundTripTest, FiftyRandomSettingsOfARealServerChangeAndNothingElse) {
  const std::string path = SourceFolder() + "/../shared/data/machines/" + GetParam();
  if (!std::filesystem::exists(path)) GTEST_SKIP() << GetParam() << " is not here";
  Use(path);
  const std::string before = Saved(0);
  RestoreOnMachine(before, 0, true);
  EXPECT_EQ(Saved(0), before);

  std::vector<Edit> edits = PossibleEdits(before);
  ASSERT_GT(edits.size(), 100U);
  std::shuffle(edits.begin(), edits.end(), std::mt19937(50));  // NOLINT: the same each time
  edits.resize(50);
  std::string edited = before;
  std::map<std::string, std::string> applied;
  for (const auto& [section, key, value] : edits) {
    edited = WithValue(edited, section, key, value);
    applied[section + "::" + key] = value;
  }
  RestoreOnMachine(edited, 0, true);
  EXPECT_EQ(DifferenceOf(before, Saved(0)), applied);
}

INSTANTIATE_TEST_SUITE_P(Machines, CapturedRoundTripTest, ::testing::ValuesIn(kCaptured),
                         kNameOfCaptured);

}  // namespace
}  // namespace Test
