#include <gtest/gtest.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

struct FilterCase {
  const char* name;
  const char* path;
  const char* board;
  const char* platform;
  bool isSaved;
};

class SectionFilterTest : public EngineTest, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(SectionFilterTest, DecidesByMenuBoardAndPlatform) {
  SetServer(GetParam().platform, "", GetParam().board);
  EXPECT_EQ(OpenSaveRestore().IsNeedToSaveRestore(GetParam().path), GetParam().isSaved);
  EXPECT_EQ(engine->Reads("/BIOS/UEFI231Aware"), 0);  // asked for "Advanced" only
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SectionFilterTest,
    ::testing::Values(
        FilterCase{"Main", "/BIOS/Main", "", "", true},
        FilterCase{"AnyCase", "/BIOS/mAIN", "", "", true},
        FilterCase{"Deeper", "/BIOS/Other/Main/x", "", "", true},
        FilterCase{"PartOfAName", "/BIOS/Main Menu", "", "", false},
        FilterCase{"Spacing", "/BIOS/Boot  Options", "", "", false},
        FilterCase{"Unlisted", "/BIOS/Exit", "R8810LQE", "CALDRA_PLATFORM", false},
        FilterCase{"Empty", "", "", "", false},
        FilterCase{"Acoustic", "/BIOS/System Acoustic and Performance Configuration", "", "", true},
        FilterCase{"AcousticOnBoard", "/BIOS/System Acoustic and Performance Configuration",
                   "R7740HCA", "", false},
        FilterCase{"Monitor", "/BIOS/Hardware Monitor", "R7740HCA", "", true},
        FilterCase{"MonitorElsewhere", "/BIOS/Hardware Monitor", "R8810LQE", "", false},
        FilterCase{"PowerOnCaldra", "/BIOS/Power & Performance", "", "CALDRA_PLATFORM", true},
        FilterCase{"PowerElsewhere", "/BIOS/Power & Performance", "CALDRA", "MIRKET_PLATFORM",
                   false},
        FilterCase{"FirstLqeBoard", "/BIOS/PCI Subsystem Settings", "R8810LQE", "", true},
        FilterCase{"SecondLqeBoard", "/BIOS/Server ME Configuration", "T8810LQE", "", true},
        FilterCase{"NotOnOtherBoards", "/BIOS/Dmi Port", "r8810lqe", "", false},
        FilterCase{"Parentheses", "/BIOS/System Agent (SA) Configuration", "R8810LQE", "", true},
        FilterCase{"Usb", "/BIOS/USB Configuration", "", "", true},
        FilterCase{"UsbBelowIch", "/BIOS/ICH/USB Configuration", "", "", false},
        FilterCase{"UsbBelowIchOnLqe", "/BIOS/ICH/USB Configuration", "T8810LQE", "", true}),
    [](const auto& row) { return row.param.name; });

class AdvancedMenuTest : public EngineTest {};

TEST_F(AdvancedMenuTest, TakesPartWhereTheBiosKnowsUefi231) {
  for (const char* answer : {"True", "False", "true", "", "True "}) {
    engine->Set("/BIOS/UEFI231Aware", answer);
    OpenSaveRestore module;
    EXPECT_EQ(module.IsNeedToSaveRestore("/BIOS/Advanced"), std::string(answer) == "True");
    EXPECT_EQ(module.IsNeedToSaveRestore("/BIOS/x/ADVANCED"), std::string(answer) == "True");
    EXPECT_TRUE(module.IsNeedToSaveRestore("/BIOS/Advanced/Main"));
  }
}

}  // namespace
}  // namespace Test
