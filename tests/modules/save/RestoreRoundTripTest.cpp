// Save, restore, save again: over the example machines and the captured ones, which refuse what
// their real counterparts would refuse.
#include <array>
#include <random>

#include "modules/save/RestoreFixture.h"
#include "providers/machine/MachineProvider.h"
#include "support/Paths.h"

namespace Test {
namespace {

using Edit = std::array<std::string, 3>;  // section, key, value

/// Edits of one kind, and what of them the server has afterwards: "SECTION::KEY" to value.
struct EditRow {
  const char* name;
  const char* machine;
  std::vector<Edit> edits;
  std::map<std::string, std::string> applied;
};

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

class UneditedTest : public RoundTripTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(UneditedTest, ARestoreOfWhatWasSavedChangesNotAByte) {
  for (const int mode : {0, 1, 2}) {
    Use(ExampleMachine(GetParam()));
    const std::string machine = ReadText(PathOf("machine.json"));
    const std::string before = Saved(mode);
    RestoreOnMachine(before, mode);
    EXPECT_EQ(Saved(mode), before) << mode;
    EXPECT_EQ(ReadText(PathOf("machine.json")), machine) << mode;
  }
}

INSTANTIATE_TEST_SUITE_P(Machines, UneditedTest, ::testing::ValuesIn(kExamples),
                         [](const auto& row) { return std::string(row.param); });

class EditedTest : public RoundTripTest, public ::testing::WithParamInterface<EditRow> {};

TEST_P(EditedTest, ExactlyTheEditedLinesDiffer) {
  Use(ExampleMachine(GetParam().machine));
  const std::string before = Saved(2);
  std::string edited = before;
  for (const auto& [section, key, value] : GetParam().edits) {
    ASSERT_TRUE(ValuesOf(edited).contains(section + "::" + key)) << key;
    edited = WithValue(edited, section, key, value);
  }
  RestoreOnMachine(edited, 2);
  EXPECT_EQ(DifferenceOf(before, Saved(2)), GetParam().applied);
}

/// An edit that arrives as it was made.
EditRow Arrives(const char* name, const char* machine, const std::vector<Edit>& edits) {
  std::map<std::string, std::string> applied;
  for (const auto& [section, key, value] : edits) applied[section + "::" + key] = value;
  return {name, machine, edits, applied};
}

/// The kinds that every example machine takes alike.
std::vector<EditRow> RowsOf(const char* machine, const std::string& policy) {
  return {
      Arrives("UserName", machine, {{"USERS::USER3", "UserName", "New.Name"}}),
      Arrives("Privilege", machine, {{"USERS::USER3", "PrivilegeChl1", "CALLBACK"}}),
      Arrives("SolInterval", machine, {{"CHANNEL::LAN1::SOL", "SolRetryInterval", "120"}}),
      Arrives("AlertAddress", machine, {{"CHANNEL::LAN1", "AlertIP1", "192.0.2.77"}}),
      Arrives("PowerPolicy", machine, {{"POWER", "PowerRestorePolicy", policy}}),
      Arrives("MailSubject", machine,
              {{"EMAILCONFIG::CHANNEL1::INFO", "Subject", "Alarm in Row 7"}}),
      {"Converted",
       machine,
       {{"CHANNEL::LAN2::SOL", "SolRetryInterval", "129"}, {"PEF", "PEFEnable", "disable"}},
       {{"CHANNEL::LAN2::SOL::SolRetryInterval", "120"}, {"PEF::PEFEnable", "DISABLE"}}},
      {"Dropped",
       machine,
       {{"CHANNEL::LAN1", "HostIP", "192.0.2.200"},
        {"CHANNEL::LAN1", "SubnetMask", "255.0.0.0"},
        {"CHANNEL::LAN2", "GatewayIP", "192.0.2.201"},
        {"USERS::USER1", "UserName", "somebody"}},
       {}},
  };
}

std::vector<EditRow> EditRows() {
  std::vector<EditRow> rows = {
      Arrives("BiosOption", "caldra", {{"BIOS::Main", "Quiet Boot", "0"}}),
      Arrives("BiosOption", "oskent", {{"BIOS::Server Management", "Asset Tag", "A 9"}}),
      Arrives("BiosOption", "r8810lqe", {{"BIOS::Boot Options", "Number Lock", "0"}}),
      Arrives("Filter", "caldra", {{"PEF::FILTERS", "Filter3", "DISABLE"}}),
      Arrives("Filter", "r8810lqe", {{"PEF::FILTERS", "Filter3", "DISABLE"}}),
      Arrives(
          "BootOrder", "caldra",
          {{"BIOS::BootOrder", "Internal Shell", "2"}, {"BIOS::BootOrder", "Disk A 480 GB", "1"}}),
      Arrives("BootOrder", "oskent",
              {{"BIOS::BootOrder", "Optical Drive", "3"},
               {"BIOS::BootOrder", "Disk A", "1"},
               {"BIOS::BootOrder", "Network Port 1", "2"}}),
      Arrives("DiskOrder", "caldra",
              {{"BootOrder::Hard Disk", "Disk A 480 GB (Port 0)", "3"},
               {"BootOrder::Hard Disk", "Disk C 4 TB (Port 4)", "1"}}),
      Arrives("DiskOrder", "r8810lqe",
              {{"BootOrder::Hard Disk", "Disk A 960 GB", "2"},
               {"BootOrder::Hard Disk", "Disk B 960 GB", "1"}}),
  };
  for (const auto& [machine, policy] :
       {std::pair{"caldra", "OFF"}, {"oskent", "ON"}, {"r8810lqe", "OFF"}}) {
    const std::vector<EditRow> more = RowsOf(machine, policy);
    rows.insert(rows.end(), more.begin(), more.end());
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Rows, EditedTest, ::testing::ValuesIn(EditRows()), [](const auto& row) {
  return std::string(row.param.machine) + row.param.name;
});

class CapturedRoundTripTest : public RoundTripTest,
                              public ::testing::WithParamInterface<const char*> {
 protected:
  /// "/BIOS/Main/Sub" as a section.
  static std::string SectionOf(std::string menu) {
    menu.erase(0, 1);
    for (std::size_t at = 0; (at = menu.find('/', at)) != std::string::npos; at += 2) {
      menu.replace(at, 1, "::");
    }
    return menu;
  }

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
        const auto value = values.find(SectionOf(menuPath) + "::" + key);
        const bool isPlain = key.find_first_of("=[;\\") == std::string::npos &&
                             key.find_first_not_of(' ') == 0 && !key.ends_with(' ');
        if (value == values.end() || !isPlain || setting.options.size() < 2) continue;
        if (constraint != image.constraints.end() && !constraint->second.writable) continue;
        const auto other = std::ranges::find_if(
            setting.options, [&](const auto& option) { return option.first != value->second; });
        edits.push_back({SectionOf(menuPath), key, other->first});
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

INSTANTIATE_TEST_SUITE_P(Machines, CapturedRoundTripTest,
                         ::testing::Values("captured-server-a.json", "captured-server-b.json"),
                         [](const auto& row) {
                           return std::string(row.param[16] == 'a' ? "ServerA" : "ServerB");
                         });

}  // namespace
}  // namespace Test
