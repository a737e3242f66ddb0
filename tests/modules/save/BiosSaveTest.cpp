#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <sstream>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;

class BiosSaveTest : public EngineTest {
 protected:
  BiosSaveTest() { Menu("/BIOS", {"/BIOS/Main"}); }

  void Menu(const std::string& path, std::vector<std::string> children) {
    engine->SetList(path, std::move(children), NODE_MENU);
  }

  /// The lines that `write` brings into an open file.
  template <typename Write>
  [[nodiscard]] std::vector<std::string> Written(Write write) const {
    struct Close {
      void operator()(FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<FILE, Close> file(std::fopen(PathOf("bios.ini").c_str(), "w"));
    OpenSaveRestore module;
    write(module, file.get());
    file.reset();
    std::istringstream stream(ReadText(PathOf("bios.ini")));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }

  /// The lines that the BIOS part of a save consists of.
  [[nodiscard]] std::vector<std::string> Lines() const {
    return Written([](OpenSaveRestore& module, FILE* file) { module.SaveBiosConfiguration(file); });
  }

  /// The lines before the two boot-order sections, which are always there.
  [[nodiscard]] std::vector<std::string> MenuLines() const {
    std::vector<std::string> lines = Lines();
    EXPECT_GE(lines.size(), 2U);
    EXPECT_EQ(lines.back(), "[BIOS::BootOrder]");
    lines.resize(lines.size() - 2);
    return lines;
  }
};

TEST_F(BiosSaveTest, AServerWithoutSettingsHasTheTwoBootOrderHeadings) {
  engine->tree.clear();
  EXPECT_THAT(Lines(), ElementsAre("[BootOrder::Hard Disk]", "[BIOS::BootOrder]"));
}

TEST_F(BiosSaveTest, ASettingIsAKeyWithItsOptionsAsText) {
  Menu("/BIOS/Main",
       {"/BIOS/Main/Quiet Boot", "/BIOS/Main/Free", "/BIOS/Main/Second", "/BIOS/Main/Absent"});
  engine->Set("/BIOS/Main/Quiet Boot", "1");
  engine->tree["/BIOS/Main/Quiet Boot"].options = {{"1", "On: a=b"}, {"0", "Off"}, {"10", "x"}};
  engine->SetList("/BIOS/Main/Free", {});
  engine->SetList("/BIOS/Main/Second", {"", "fallback"});
  EXPECT_THAT(MenuLines(),
              ElementsAre("[BIOS::Main]", "Quiet Boot=1\t;Options: Off=0: On: a=b=1: x=10",
                          "Free=\t;Options", "Second=fallback\t;Options", "Absent=\t;Options"));
}

TEST_F(BiosSaveTest, OwnSettingsComeFirstAndSubMenusLastInFirstOut) {
  Menu("/BIOS/Main", {"/BIOS/Main/A", "/BIOS/Main/x", "/BIOS/Main/B", "/BIOS/Main/C"});
  engine->Set("/BIOS/Main/x", "1");
  for (const char* name : {"A", "B", "C"}) {
    const std::string menu = std::string("/BIOS/Main/") + name;
    Menu(menu, {menu + "/1", menu + "/s", menu + "/2"});
    Menu(menu + "/1", {});
    Menu(menu + "/2", {});
    engine->Set(menu + "/s", name);
  }
  std::vector<std::string> headings;
  for (const std::string& line : MenuLines()) {
    if (line.starts_with('[')) headings.push_back(line.substr(7, line.size() - 8));
  }
  // The top level walks its sub-menus in order; below it the last one comes first.
  EXPECT_THAT(headings,
              ElementsAre("Main", "Main::A", "Main::A::2", "Main::A::1", "Main::B", "Main::B::2",
                          "Main::B::1", "Main::C", "Main::C::2", "Main::C::1"));
  EXPECT_EQ(MenuLines()[1], "x=1\t;Options");
}

TEST_F(BiosSaveTest, SomeSettingsNeverAppear) {
  Menu("/BIOS", {"/BIOS/Boot Options"});
  const std::string boot = "/BIOS/Boot Options/";
  Menu("/BIOS/Boot Options",
       {boot + "AdminPw", boot + "UserPw", boot + "SystemTime", boot + "SystemDate",
        boot + "Flagged", boot + "Odd", boot + "Boot Option #%d", boot + "Boot Option #1",
        boot + "Delete EFI Boot Option", boot + "Add EFI Boot Option", boot + "Boot Options",
        boot + "Add EFI Boot Option X", boot + "Sub"});
  for (const char* key :
       {"AdminPw", "UserPw", "SystemTime", "SystemDate", "Flagged", "Odd", "Boot Option #%d",
        "Boot Option #1", "Delete EFI Boot Option", "Add EFI Boot Option", "Sub/Odd"}) {
    engine->Set(boot + key, "v");
  }
  engine->tree[boot + "Flagged"].flag = true;
  engine->tree[boot + "Odd"].kind = 7;
  engine->tree[boot + "Sub/Odd"].kind = 7;
  Menu(boot + "Sub", {boot + "Sub/Odd"});
  Menu(boot + "Boot Options", {boot + "Boot Options/Deep"});
  Menu(boot + "Boot Options/Deep", {boot + "Boot Options/Deep/s"});
  Menu(boot + "Add EFI Boot Option X", {});
  EXPECT_THAT(MenuLines(), ElementsAre("[BIOS::Boot Options]", "SystemDate=v\t;Options",
                                       "Boot Option #1=v\t;Options", "[BIOS::Boot Options::Sub]"));
}

TEST_F(BiosSaveTest, ServerManagementKeepsItsSubMenusToItself) {
  Menu("/BIOS", {"/BIOS/Server Management"});
  Menu("/BIOS/Server Management", {"/BIOS/Server Management/BMC", "/BIOS/Server Management/s"});
  Menu("/BIOS/Server Management/BMC", {"/BIOS/Server Management/BMC/t"});
  engine->Set("/BIOS/Server Management/s", "1");
  EXPECT_THAT(MenuLines(), ElementsAre("[BIOS::Server Management]", "s=1\t;Options"));
  Menu("/BIOS", {"/BIOS/Main"});
  Menu("/BIOS/Main", {"/BIOS/Server Management"});
  EXPECT_THAT(MenuLines(),
              ElementsAre("[BIOS::Main]", "[BIOS::Server Management]", "s=1\t;Options"));
}

TEST_F(BiosSaveTest, ARefusedTopMenuLeavesNothingOfItsTree) {
  Menu("/BIOS", {"/BIOS/Exit", "/BIOS/Main"});
  Menu("/BIOS/Exit", {"/BIOS/Exit/s", "/BIOS/Exit/Main"});
  Menu("/BIOS/Main", {});
  EXPECT_THAT(MenuLines(), ElementsAre("[BIOS::Main]"));
}

TEST_F(BiosSaveTest, NoTreeHangsTheWalk) {
  Menu("/BIOS", {"/BIOS/Main", "/BIOS/Main"});
  Menu("/BIOS/Main", {"/BIOS/Main/A", "/BIOS/Main/A", "/BIOS/Main", "/BIOS"});
  Menu("/BIOS/Main/A", {"/BIOS/Main/A", "/BIOS/Main", "/BIOS/Main/A/B"});
  Menu("/BIOS/Main/A/B", {"/BIOS/Main/A"});
  const std::vector<std::string> lines = MenuLines();
  EXPECT_THAT(lines,
              ElementsAre("[BIOS::Main]", "[BIOS::Main::A]", "[BIOS::Main::A::B]", "[BIOS]"));
}

TEST_F(BiosSaveTest, ASettingOutsideItsMenuIsNamedByItsLastComponent) {
  Menu("/BIOS/Main", {"/BIOS/Other/Far Away", "/BIOS/Main", "/"});
  engine->Set("/BIOS/Other/Far Away", "1");
  EXPECT_THAT(MenuLines(), ElementsAre("[BIOS::Main]", "Far Away=1\t;Options"));
}

TEST_F(BiosSaveTest, TheLastEntryWithDisksGivesTheDiskOrder) {
  Menu("/BIOS", {});
  engine->SetList("/BMC/BOOTORDER", {"1", "2", "3"});
  engine->SetList("/BMC/BOOTORDER[1]/HDD", {"a"});
  engine->Set("/BMC/BOOTORDER[1]/HDD[1]", "wrong");
  engine->SetList("/BMC/BOOTORDER[3]/HDD", {"a", "b", "c", "d"});
  engine->Set("/BMC/BOOTORDER[3]/HDD[1]", "Disk A");
  engine->SetList("/BMC/BOOTORDER[3]/HDD[2]", {});
  engine->Set("/BMC/BOOTORDER[3]/HDD[4]", "Disk D");
  EXPECT_THAT(Lines(),
              ElementsAre("[BootOrder::Hard Disk]", "Disk A=1", "Disk D=4", "[BIOS::BootOrder]"));
  engine->SetList("/BMC/BOOTORDER[3]/HDD", {});
  EXPECT_THAT(Lines(), ElementsAre("[BootOrder::Hard Disk]", "[BIOS::BootOrder]"));
}

TEST_F(BiosSaveTest, TheBootOrderVisitsAsManyPositionsAsTheResultHasEntries) {
  Menu("/BIOS", {});
  engine->SetList("/BIOS/BootOrder", {});
  engine->Set("/BIOS/BootOrder[1]", "=Disk");
  engine->Set("/BIOS/BootOrder[2]", "");
  engine->Set("/BIOS/BootOrder[4]", "Net");
  engine->Set("/BIOS/BootOrder[5]", "Net");
  engine->Set("/BIOS/BootOrder[6]", "Lost behind the gap");
  EXPECT_THAT(Lines(), ElementsAre("[BootOrder::Hard Disk]", "[BIOS::BootOrder]", "\\x3DDisk=1",
                                   "Net=4", "Net=5"));
}

TEST_F(BiosSaveTest, EachOperationWritesIntoAnOpenFile) {
  Menu("/BIOS/Main", {"/BIOS/Main/s", "/BIOS/Main/A"});
  Menu("/BIOS/Main/A", {"/BIOS/Main/A/t"});
  Menu("/BIOS/Boot Options/Boot Options", {"/BIOS/Main/s"});
  engine->Set("/BIOS/Main/s", "1");
  engine->Set("/BIOS/Main/A/t", "2");
  const auto lines = Written([&](OpenSaveRestore& module, FILE* file) {
    module.WriteSectionName("/BIOS//Main/", file);
    module.WriteOneData("/BIOS/Elsewhere", "/BIOS/Main/A/t", engine->tree, file);
    module.WriteData("/BIOS/Main", "/BIOS/Main/s", engine->tree, file);
    module.WriteData("/BIOS/Main", "/BIOS/Main/A", engine->tree, file);
    module.WriteData("/BIOS", "/BIOS/Boot Options/Boot Options", engine->tree, file);
    module.Search("/", "/BIOS", engine->tree, file);
  });
  const std::string s = "s=1\t;Options", t = "t=2\t;Options", heading = "[BIOS::Main::A]";
  EXPECT_THAT(lines, ElementsAre("[BIOS::Main]", t, s, heading, t, "[BIOS::Main]", s, heading, t));
}

TEST_F(BiosSaveTest, AnUnreachableServerEndsTheSaveAnyOtherFailureDoesNot) {
  const auto codeWith = [&](int code, int failAt) {
    Mount(std::make_shared<FailingProvider>(engine, failAt, code));
    return CodeOf([&] { static_cast<void>(Lines()); });
  };
  constexpr int kCount = 3;  // after the two reads of the constructor
  EXPECT_EQ(codeWith(ErrorManager::NoSuchNode, kCount), 0);
  EXPECT_EQ(codeWith(ErrorManager::Unreachable, kCount), 2048);
}

}  // namespace
}  // namespace Test
