// The BIOS part of a save, line by line.
#include <cstdio>
#include <memory>
#include <sstream>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

class BiosSaveTest : public EngineTest {
 protected:
  /// The two boot-order sections, which are always there, without keys.
  static constexpr const char* kNoOrders = "[BootOrder::Hard Disk]\n[BIOS::BootOrder]\n";

  void Menu(const std::string& path, std::vector<std::string> children) {
    engine->SetList(path, std::move(children), NODE_MENU);
  }

  /// What `write` brings into an open file.
  template <typename Write>
  [[nodiscard]] std::string Written(Write write) const {
    OpenSaveRestore module;
    FILE* file = std::fopen(PathOf("bios.ini").c_str(), "w");
    const std::unique_ptr<FILE, int (*)(FILE*)> close(file, std::fclose);
    write(module, file);
    std::fflush(file);
    return ReadText(PathOf("bios.ini"));
  }

  /// What the BIOS part of a save consists of, without the ";Options" of settings that have none.
  [[nodiscard]] std::string Text() const {
    std::string text =
        Written([](OpenSaveRestore& module, FILE* file) { module.SaveBiosConfiguration(file); });
    for (std::size_t at; (at = text.find("\t;Options\n")) != std::string::npos;) text.erase(at, 9);
    return text;
  }
};

TEST_F(BiosSaveTest, ASettingIsAKeyWithItsOptionsAsText) {
  EXPECT_EQ(Text(), kNoOrders);
  Menu("/BIOS", {"/BIOS/Main"});
  Menu("/BIOS/Main", {"/BIOS/Main/A", "/BIOS/Main/B", "/BIOS/Main/C", "/BIOS/Main/Free",
                      "/BIOS/Main/Second", "/BIOS/Main/Absent"});
  engine->Set("/BIOS/Main/A", "1");
  engine->tree["/BIOS/Main/A"].options = {{"1", "On: a=b"}, {"0", "Off"}, {"10", "x"}};
  // The same options, once with a remark.
  engine->tree["/BIOS/Main/B"] = engine->tree["/BIOS/Main/C"] = engine->tree["/BIOS/Main/A"];
  engine->tree["/BIOS/Main/B"].remark = "read-only";
  engine->SetList("/BIOS/Main/Free", {});
  engine->SetList("/BIOS/Main/Second", {"", "fallback", "last"});
  EXPECT_EQ(Text(), std::string("[BIOS::Main]\nA=1\t;Options: Off=0: On: a=b=1: x=10\n"
                                "B=1\t;Options: Off=0: On: a=b=1: x=10; read-only\n"
                                "C=1\t;Options: Off=0: On: a=b=1: x=10\n"
                                "Free=\nSecond=fallback\nAbsent=\n") +
                        kNoOrders);
}

TEST_F(BiosSaveTest, OwnSettingsComeFirstAndSubMenusLastInFirstOut) {
  Menu("/BIOS", {"/BIOS/Main"});
  Menu("/BIOS/Main", {"/BIOS/Main/A", "/BIOS/Main/x", "/BIOS/Main/B"});
  engine->Set("/BIOS/Main/x", "1");
  for (const std::string menu : {"/BIOS/Main/A", "/BIOS/Main/B"}) {
    Menu(menu, {menu + "/1", menu + "/s", menu + "/2"});
    Menu(menu + "/1", {});
    Menu(menu + "/2", {});
  }
  // The top level walks its sub-menus in order; below it the last one comes first.
  EXPECT_EQ(Text(), std::string("[BIOS::Main]\nx=1\n"
                                "[BIOS::Main::A]\ns=\n[BIOS::Main::A::2]\n[BIOS::Main::A::1]\n"
                                "[BIOS::Main::B]\ns=\n[BIOS::Main::B::2]\n[BIOS::Main::B::1]\n") +
                        kNoOrders);
}

TEST_F(BiosSaveTest, SomeSettingsNeverAppear) {
  std::vector<std::string> settings = {
      "/BIOS/Boot Options/Boot Options/Boot Option #%d",
      "/BIOS/Boot Options/Boot Option #%d",
      "/BIOS/Boot Options/Boot Options/Add EFI Boot Option/Select File system",
      "/BIOS/Boot Options/Add EFI Boot Option/Select File system",
      "/BIOS/Boot Options/Boot Options/Delete EFI Boot Option/Delete Boot Option",
      "/BIOS/Boot Options/Delete EFI Boot Option/Delete Boot Option",
      "/BIOS/Boot Options/Boot Options/Delete EFI Boot Option",
      "/BIOS/Boot Options/Delete EFI Boot Option",
      "/BIOS/Boot Options/Boot Options/Add EFI Boot Option",
      "/BIOS/Boot Options/Add EFI Boot Option",
      "/BIOS/Main/AdminPw",
      "/BIOS/Main/UserPw",
      "/BIOS/Main/SystemTime",
      "/BIOS/Main/Flagged",
      "/BIOS/Main/Odd",
      "/BIOS/Main/SystemDate",
      "/BIOS/Boot Options/Boot Option #1",
      "/BIOS/Boot Options/Add EFI Boot Option/Add Boot Option"};
  for (const std::string& path : settings) engine->Set(path, "v");
  engine->tree["/BIOS/Main/Flagged"].flag = true;
  engine->tree["/BIOS/Main/Odd"].kind = 7;
  const std::string kept = "SystemDate=v\nBoot Option #1=v\nAdd Boot Option=v\n";
  Menu("/BIOS", {"/BIOS/Main"});
  Menu("/BIOS/Main/Sub", settings);
  settings.emplace_back("/BIOS/Main/Sub");
  Menu("/BIOS/Main", settings);
  EXPECT_EQ(Text(), "[BIOS::Main]\n" + kept + "[BIOS::Main::Sub]\n" + kept + kNoOrders);
}

TEST_F(BiosSaveTest, SomeMenusNeverAppear) {
  for (const std::string excluded :
       {"/BIOS/Boot Options/Boot Options", "/BIOS/Boot Options/Add EFI Boot Option 2",
        "/BIOS/Boot Options/Delete EFI Boot Option", "/BIOS/Exit"}) {
    Menu(excluded, {excluded + "/s", excluded + "/Main"});
    Menu(excluded + "/Main", {excluded + "/s"});
    // As a top-level menu, where the filter lets it pass, and one and two levels down.
    const bool isListed = excluded != "/BIOS/Exit";
    const std::string shown = isListed ? "" : "[BIOS::Exit]\ns=\n[BIOS::Exit::Main]\ns=\n";
    Menu("/BIOS", {excluded, "/BIOS/Main"});
    Menu("/BIOS/Main", {});
    EXPECT_EQ(Text(), std::string("[BIOS::Main]\n") + kNoOrders);
    Menu("/BIOS/Main", {excluded});
    EXPECT_EQ(Text(), "[BIOS::Main]\n" + shown + kNoOrders);
    Menu("/BIOS/Main", {"/BIOS/Main/A"});
    Menu("/BIOS/Main/A", {excluded});
    EXPECT_EQ(Text(), "[BIOS::Main]\n[BIOS::Main::A]\n" + shown + kNoOrders);
  }
  // Its own settings alone, at the top and below.
  Menu("/BIOS/Server Management", {"/BIOS/Server Management/BMC", "/BIOS/Server Management/s"});
  Menu("/BIOS/Server Management/BMC", {"/BIOS/Server Management/BMC/t"});
  for (const std::vector<std::string>& top : {std::vector<std::string>{}, {"/BIOS/Main"}}) {
    Menu("/BIOS", top.empty() ? std::vector<std::string>{"/BIOS/Server Management"} : top);
    Menu("/BIOS/Main", {"/BIOS/Server Management"});
    EXPECT_EQ(Text(), (top.empty() ? "" : "[BIOS::Main]\n") +
                          std::string("[BIOS::Server Management]\ns=\n") + kNoOrders);
  }
}

TEST_F(BiosSaveTest, AMenuIsTakenOnceWhereverItIsListed) {
  Menu("/BIOS", {"/BIOS/Main", "/BIOS/Main", "/BIOS/Security"});
  Menu("/BIOS/Main", {"/BIOS/Main/A", "/BIOS/Main/A", "/BIOS/Main", "/BIOS"});
  Menu("/BIOS/Main/A", {"/BIOS/Main/A", "/BIOS/Main", "/BIOS/Main/A/B"});
  Menu("/BIOS/Main/A/B", {"/BIOS/Main/A"});
  Menu("/BIOS/Security", {"/BIOS/Main/A", "/BIOS/Main"});
  EXPECT_EQ(Text(), std::string("[BIOS::Main]\n[BIOS::Main::A]\n[BIOS::Main::A::B]\n[BIOS]\n"
                                "[BIOS::Security]\n") +
                        kNoOrders);
}

TEST_F(BiosSaveTest, TheLastEntryWithDisksGivesTheDiskOrder) {
  engine->SetList("/BMC/BOOTORDER", {"1", "2", "3"});
  engine->SetList("/BMC/BOOTORDER[1]/HDD", {"a"});
  engine->Set("/BMC/BOOTORDER[1]/HDD[1]", "wrong");
  engine->SetList("/BMC/BOOTORDER[3]/HDD", {"a", "b", "c", "d"});
  engine->Set("/BMC/BOOTORDER[3]/HDD[1]", "Disk A");
  engine->SetList("/BMC/BOOTORDER[3]/HDD[2]", {});
  engine->Set("/BMC/BOOTORDER[3]/HDD[4]", "Disk D");
  EXPECT_EQ(Text(), "[BootOrder::Hard Disk]\nDisk A=1\nDisk D=4\n[BIOS::BootOrder]\n");
  engine->SetList("/BMC/BOOTORDER[3]/HDD", {});
  EXPECT_EQ(Text(), kNoOrders);
}

TEST_F(BiosSaveTest, TheBootOrderVisitsAsManyPositionsAsTheResultHasEntries) {
  engine->SetList("/BIOS/BootOrder", {});
  for (const auto& [position, name] :
       {std::pair{1, "=Disk"}, {2, ""}, {4, "Net"}, {5, "Net"}, {6, "Lost behind the gap"}}) {
    engine->Set("/BIOS/BootOrder[" + std::to_string(position) + "]", name);
  }
  EXPECT_EQ(Text(), std::string(kNoOrders) + "\\x3DDisk=1\nNet=4\nNet=5\n");
}

TEST_F(BiosSaveTest, EachOperationWritesIntoAnOpenFile) {
  Menu("/BIOS", {"/BIOS/Main"});
  Menu("/BIOS/Main", {"/BIOS/Main/s", "/BIOS/Main/A"});
  Menu("/BIOS/Main/A", {"/BIOS/Main/A/t"});
  Menu("/BIOS/Boot Options/Boot Options", {"/BIOS/Main/s"});
  const std::string text = Written([&](OpenSaveRestore& module, FILE* file) {
    module.WriteSectionName("/BIOS//Main/", file);
    module.WriteOneData("/BIOS/Elsewhere", "/BIOS/Main/A/t", engine->tree, file);
    module.WriteOneData("/Main", "/BIOS/Main/A/t", engine->tree, file);
    module.WriteData("/BIOS/Main", "/BIOS/Main/s", engine->tree, file);
    module.WriteData("/BIOS/Main", "/BIOS/Main/A", engine->tree, file);
    module.WriteData("/BIOS", "/BIOS/Boot Options/Boot Options", engine->tree, file);
    module.Search("/", "/BIOS", engine->tree, file);
  });
  const std::string s = "s=\t;Options\n", t = "t=\t;Options\n", sub = "[BIOS::Main::A]\n";
  EXPECT_EQ(text, "[BIOS::Main]\n" + t + "A/" + t + s + sub + t + "[BIOS::Main]\n" + s + sub + t);
}

TEST_F(BiosSaveTest, AnUnreachableServerEndsTheSaveAnyOtherFailureDoesNot) {
  for (const int code : {int{ErrorManager::NoSuchNode}, int{ErrorManager::Unreachable}}) {
    constexpr int kCount = 3;  // after the two reads of the constructor
    Mount(std::make_shared<FailingProvider>(engine, kCount, code));
    EXPECT_EQ(CodeOf([&] { static_cast<void>(Text()); }), code == 2048 ? 2048 : 0);
  }
}

}  // namespace
}  // namespace Test
