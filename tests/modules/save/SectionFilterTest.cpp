// Which BIOS menus take part: every name of the list, and what is nearly one.
#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

/// On which boards and platforms a menu takes part.
struct FilterRow {
  const char* menus;
  const char* boards;
  const char* platforms;
};

constexpr const char* kLqe = "R8810LQE|T8810LQE";
constexpr const char* kEvery = "|R8810LQE|T8810LQE|R7740HCA|r8810lqe";
constexpr const char* kAny = "|CALDRA_PLATFORM|MIRKET_PLATFORM";
constexpr FilterRow kFilterRows[] = {
    {"MAIN|PROCESSOR CONFIGURATION|MEMORY CONFIGURATION|"
     "MEMORY RAS AND PERFORMANCE CONFIGURATION|MASS STORAGE CONTROLLER CONFIGURATION|"
     "PCI CONFIGURATION|NIC CONFIGURATION|SERIAL PORT CONFIGURATION|USB CONFIGURATION|"
     "SECURITY|SERVER MANAGEMENT|CONSOLE REDIRECTION|BOOT OPTIONS|ADVANCED BOOT OPTIONS|"
     "TCG CONFIGURATION|SECURE BOOT CONFIGURATION",
     kEvery, kAny},
    {"SYSTEM ACOUSTIC AND PERFORMANCE CONFIGURATION", "|R8810LQE|T8810LQE|r8810lqe", kAny},
    {"HARDWARE MONITOR", "R7740HCA", kAny},
    {"POWER & PERFORMANCE", kEvery, "CALDRA_PLATFORM"},
    {"PCI SUBSYSTEM SETTINGS|POWER MANAGEMENT CONTROL|CPU 0 - C STATE CONTROL|"
     "CUSTOM P-STATE TABLE|NETWORK CONTROLLERS|WHEA SETTINGS|MSQ IIO CONFIGURATION|"
     "MSQ SOCKET 0 ITEMS|DMI PORT|PCIE PORT 2|PCIE PORT 3|PCIE PORT 4|PCIE PORT 6|"
     "PCIE PORT 8|PCIE PORT 10|IOAT CONFIGURATION|SCK0 IOAT CONFIG|REFERENCE CODE COMMON|"
     "MEMORY ADDRESS MAP CONFIGURATION|MEMORY THERMAL|MEMORY POWER SAVING ADVANCED OPTIONS|"
     "EXTREME MEMORY PROFILE|PAGE POLICY|HW VALIDATION TEST ONLY|QPI CONFIGURATION|"
     "SYSTEM AGENT (SA) CONFIGURATION|PCH-IO CONFIGURATION|PCI EXPRESS CONFIGURATION|"
     "PCI EXPRESS ROOT PORT 1|PCI EXPRESS ROOT PORT 5|PCI EXPRESS ROOT PORT 6|"
     "PCI EXPRESS ROOT PORT 7|PCI EXPRESS ROOT PORT 8|MASS STORAGE CONTROLLER CONFIGURATION|"
     "SOFTWARE FEATURE CONTROLLER CONFIGURATION|SOFTWARE FEATURE MASK CONFIGURATION|"
     "USB CONFIGURATION|TIRELLA CONFIGURATION|EVA (RHS) CONFIGURATION OPTIONS|"
     "EVA (RHS) CLOCK GATING CONFIGURATION OPTIONS|PLATFORM THERMAL CONFIGURATION|"
     "CPU THERMAL CONFIGURATION|PLATFORM THERMAL CONFIGURATION|"
     "SERIAL PORT CONSOLE REDIRECTION|CONSOLE REDIRECTION SETTINGS|ACPI SETTINGS|"
     "FW DEBUG CONFIGURATION|HALVERMOOR GENERAL CONFIGURATION|NM CONFIGURATION|"
     "DCMI CONFIGURATION|SERVER ME CONFIGURATION|BOOT OPTIONS",
     kLqe, kAny},
};

/// True when `word` is one of a list.
bool IsOneOf(const std::string& list, const std::string& word) {
  return std::ranges::count(Split(list), word) != 0;
}

class SectionFilterTest : public RestoreTest {
 protected:
  /// Whether a menu takes part on a server.
  bool IsSaved(const std::string& path, const std::string& board, const std::string& platform) {
    SetServer(platform, "", board);
    return OpenSaveRestore().IsNeedToSaveRestore(path);
  }
};

TEST_F(SectionFilterTest, EachMenuOfTheListTakesPartOnItsServers) {
  int menus = 0;
  for (const char* board : {"", "R8810LQE", "T8810LQE", "R7740HCA", "r8810lqe"}) {
    for (const char* platform : {"", "CALDRA_PLATFORM", "MIRKET_PLATFORM"}) {
      SetServer(platform, "", board);
      OpenSaveRestore module;
      std::map<std::string, bool> expected;
      for (const FilterRow& row : kFilterRows) {
        for (const std::string& menu : Split(row.menus)) {
          expected[menu] |= IsOneOf(row.boards, board) && IsOneOf(row.platforms, platform);
        }
      }
      for (const auto& [menu, isSaved] : expected) {
        EXPECT_EQ(module.IsNeedToSaveRestore("/BIOS/" + menu), isSaved) << menu << board;
        EXPECT_FALSE(module.IsNeedToSaveRestore("/BIOS/" + menu + " 2")) << menu;
        ++menus;
      }
    }
  }
  EXPECT_EQ(menus, 15 * 67);                          // of 71 rows four are repeats
  EXPECT_EQ(engine->Reads("/BIOS/UEFI231Aware"), 0);  // asked for "Advanced" only
}

TEST_F(SectionFilterTest, AWholeComponentDecidesInAnyCase) {
  for (const char* path : {"/BIOS/mAIN", "/BIOS/Other/Main/x", "/BIOS/USB Configuration"}) {
    EXPECT_TRUE(IsSaved(path, "", "")) << path;
  }
  for (const char* path :
       {"/BIOS/Boot  Options", "/BIOS/Exit", "", "/BIOS/ICH/USB Configuration"}) {
    EXPECT_FALSE(IsSaved(path, "", "")) << path;
  }
  EXPECT_TRUE(IsSaved("/BIOS/ICH/USB Configuration", "T8810LQE", ""));
}

TEST_F(SectionFilterTest, AdvancedTakesPartWhereTheBiosKnowsUefi231) {
  for (const char* answer : {"True", "False", "true", "", "True "}) {
    engine->Set("/BIOS/UEFI231Aware", answer);
    for (const char* path : {"/BIOS/Advanced", "/BIOS/x/ADVANCED"}) {
      EXPECT_EQ(IsSaved(path, "", ""), std::string(answer) == "True") << answer;
    }
    EXPECT_TRUE(IsSaved("/BIOS/Advanced/Main", "", ""));
  }
}

}  // namespace
}  // namespace Test
