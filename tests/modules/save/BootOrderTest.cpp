// The two boot orders: how a file's list becomes an order, and how that reaches the server.
#include "modules/save/BootOrder.h"

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

struct OrderRow {
  const char* name;
  const char* live;
  const char* wanted;
  const char* order;  ///< empty: it stays
  int code = 0;
  const char* refused = "";
};

class RearrangedTest : public ::testing::TestWithParam<OrderRow> {};

TEST_P(RearrangedTest, PutsTheDevicesWhereTheFileWantsThem) {
  std::optional<std::vector<std::string>> order;
  std::string entry;
  const auto wanted = SettingsBelow("", GetParam().wanted);
  const int code =
      CodeOf([&] { order = SDK::BootOrder::Rearranged(Split(GetParam().live), wanted, entry); });
  EXPECT_EQ(code, GetParam().code);
  EXPECT_EQ(order.value_or(std::vector<std::string>()), Split(GetParam().order));
  EXPECT_EQ(code == 0 ? "" : entry, GetParam().refused);
}

const OrderRow kOrderRows[] = {
    {"Same", "a|b", "a=1|b=2", ""},
    {"Swapped", "a|b", "a=2|b=1", "b|a"},
    {"UnnamedFillInLiveOrder", "a|b|c|d", "d=1|b=3", "d|a|b|c"},
    {"BlanksDoNotCount", " a|b\t", "a \r= 2 |b=1\r", "b\t| a"},
    {"LeadingZeros", "a|b", "a=002", "b|a"},
    {"OneNameTwiceMoved", "x|x|a", "a=1|x=3", "a|x|x"},
    {"TheOneThatStandsThereIsTaken", " x|x |y", "x=3|x\t=1", " x|y|x "},
    {"ExactNamesFirst", "x|x |y", "\tx=1|x=3", "x |y|x"},
    {"OneTrimmedNameTwiceAtOnePosition", "x| x|y", " x=3|x=3", "x|y| x"},
    {"AGapStays", "a||b", "a=3|b=1", "b||a"},
    {"AGapThatIsTakenComesLast", "a||b", "a=2", "b|a|"},
    {"AGapIsNoDevice", "a|", " =1", "", 1263, " "},
    {"UnknownDevice", "a", "z=1", "", 1263, "z"},
    {"CaseCounts", "a", "A=1", "", 1263, "A"},
    {"Zero", "a", "a=0", "", 1263, "a"},
    {"BeyondTheEnd", "a", "a=2", "", 1263, "a"},
    {"Huge", "a", "a=99999999999999999999999", "", 1263, "a"},
    {"Negative", "a", "a=-1", "", 1263, "a"},
    {"Signed", "a", "a=+1", "", 1263, "a"},
    {"HalfANumber", "a", "a=1st", "", 1263, "a"},
    {"OnePositionForTwo", "a|b", "a=1|b=1", "", 1263, "b"},
    {"MoreOfANameThanThereAre", "a|b", "a=1| a=2", "", 1263, " a"},
    {"BlankPosition", "a", "a= \t", "", 1134, "a"},
};
INSTANTIATE_TEST_SUITE_P(Rows, RearrangedTest, ::testing::ValuesIn(kOrderRows), kNameOfRow);

/// Calls `visit` with every order of up to `most` devices of three names, with gaps.
template <typename Visit>
void ForEveryOrder(std::size_t most, Visit visit) {
  const std::vector<std::string> kNames = {"", "x", " x", "y"};
  std::vector<std::vector<std::string>> orders = {{}};
  for (std::size_t index = 0; index < orders.size(); ++index) {
    const std::vector<std::string> order = orders[index];
    visit(order);
    for (std::size_t name = 0; order.size() < most && name < kNames.size(); ++name) {
      orders.push_back(order);
      orders.back().push_back(kNames[name]);
    }
  }
}

TEST(BootOrderProperty, EveryFileBringsItsNamesToTheirPositions) {
  ForEveryOrder(6, [](const std::vector<std::string>& order) {
    std::vector<std::pair<std::string, std::string>> lines;
    std::map<std::string, std::string> wanted;  // of equal names the last one holds
    for (std::size_t place = 0; place < order.size(); ++place) {
      if (order[place].empty()) continue;
      lines.emplace_back(order[place], std::to_string(place + 1));
      wanted[order[place]] = lines.back().second;
    }
    EXPECT_EQ(lines.size() == wanted.size(), SDK::BootOrder::NamesAtTwoPositions(lines).empty());
    std::string entry;
    EXPECT_EQ(SDK::BootOrder::Rearranged(order, wanted, entry), std::nullopt);
    const std::vector<std::string> live(order.rbegin(), order.rend());
    const auto names = SDK::BootOrder::Rearranged(live, wanted, entry).value_or(live);
    EXPECT_THAT(names, ::testing::UnorderedElementsAreArray(live));
    for (const auto& [name, position] : wanted) EXPECT_EQ(names[std::stoul(position) - 1], name);
    EXPECT_TRUE(lines.size() != wanted.size() || names == order);
  });
}

class BootOrderTest : public RestoreTest {
 protected:
  BootOrderTest() { Menu("/BIOS/Exit"); }  // one that takes no part

  void SetBootOrder(const std::vector<std::string>& names) { SetNames("/BIOS/BootOrder", names); }
  /// Adds an entry to the BMC's boot order, with disks.
  void AddEntry(const std::vector<std::string>& disks) {
    auto& entries = engine->tree["/BMC/BOOTORDER"].values;
    entries.push_back("/BMC/BOOTORDER[" + std::to_string(entries.size() + 1) + "]");
    engine->tree[entries.back()];
    if (!disks.empty()) SetNames(entries.back() + "/HDD", disks);
  }
  /// Gives the list at `path` an entry for each name.
  void SetNames(const std::string& path, const std::vector<std::string>& names) {
    engine->SetList(path, {});
    for (const std::string& name : names) {
      auto& list = engine->tree[path].values;
      list.push_back(path + "[" + std::to_string(list.size() + 1) + "]");
      engine->Set(std::string(list.back()), name);
    }
  }

  const std::string kNoDisks = "\"BootOrder::Hard Disk\" is empty, skip this item\n";
};

TEST_F(BootOrderTest, EveryPositionIsQueuedWhenTheOrderChanges) {
  SetBootOrder({"Shell", "Disk", "Net"});
  // The last of equal keys holds, and a list of disks is no fault where there are none.
  const std::string file =
      "[BIOS::BootOrder]\nDisk=3\nDisk=1\nShell=2\n[BootOrder::Hard Disk]\nC=1\n";
  EXPECT_EQ(Restore(file, 0), "");
  EXPECT_EQ(BiosBatch(), SettingsBelow("/BIOS/BootOrder", "[1]=Disk|[2]=Shell|[3]=Net"));
  Restore(file, 0);
  EXPECT_EQ(engine->writes.size(), 1U);  // the password check
}

TEST_F(BootOrderTest, AMissingListChangesNothingAndIsSaid) {
  const std::string empty = "[BIOS::BootOrder]\n[BootOrder::Hard Disk]\n";
  EXPECT_EQ(Restore("[BIOS::BootOrder]\nShell=1\n", 0), kNoDisks);  // there is no order to change
  SetBootOrder({"Shell", "Disk"});
  for (const std::string& file : {empty, std::string("[POWER]\n")}) {
    EXPECT_EQ(Restore(file, 0), "\"BIOS::BootOrder\" is empty, skip this item\n" + kNoDisks);
    EXPECT_EQ(engine->writes.size(), 1U);
  }
}

TEST_F(BootOrderTest, SkippingItIgnoresBothLists) {
  SetBootOrder({"Shell", "Disk"});
  Menu("/BIOS/Main", {{"A", "1"}});
  EXPECT_EQ(Restore("[BIOS::Main]\nA=2\n[BIOS::BootOrder]\nNoSuch=77\n[BootOrder::Hard Disk]\nx=\n",
                    0, true),
            "");
  EXPECT_EQ(engine->Reads("/BIOS/BootOrder") + engine->Reads("/BMC/BOOTORDER"), 0);
  EXPECT_EQ(BiosBatch(), SettingsBelow("/BIOS/Main/", "A=2"));
}

TEST_F(BootOrderTest, AnUneditedFileChangesNoneOfTheOrders) {
  ForEveryOrder(4, [&](const std::vector<std::string>& order) {
    engine->tree.clear();
    Menu("/BIOS/Exit");
    SetBootOrder(order);
    AddEntry(order);
    Restore(Saved(0), 0);
    EXPECT_EQ(engine->writes.size(), 1U) << ::testing::PrintToString(order);  // the password check
  });
}

TEST_F(BootOrderTest, TheDisksOfTheLastEntryThatHasSomeAreReordered) {
  AddEntry({"A", "B"});
  AddEntry({});
  AddEntry({"C", "D"});
  AddEntry({});
  EXPECT_EQ(Restore("[BootOrder::Hard Disk]\nD=1\nC=2\n", 0), "");
  EXPECT_EQ(BmcBatch(), SettingsBelow("/BMC/BOOTORDER[3]/HDD", "[1]=D|[2]=C"));
  Restore("[BootOrder::Hard Disk]\nD=1\nC=2\n", 0);
  EXPECT_EQ(engine->writes.size(), 1U);
  EXPECT_EQ(CodeOfRestore("[BootOrder::Hard Disk]\nA=1\n", 0), 1263);
  EXPECT_EQ(CodeOfRestore("[BootOrder::Hard Disk]\nC=\n", 0), 1134);
}

TEST_F(BootOrderTest, ARefusedListLeavesEverythingUnsent) {
  Menu("/BIOS/Main", {{"A", "1"}});
  SetBootOrder({"Shell", "Disk"});
  AddEntry({"C", "D"});
  const std::string changes = "[BIOS::Main]\nA=2\n";
  for (const auto& [lists, code] :
       {std::pair{"[BIOS::BootOrder]\nDisk=1\nNoSuch=2\n", 1263},
        {"[BIOS::BootOrder]\nDisk=\n", 1134},
        {"[BIOS::BootOrder]\nDisk=1\nShell=2\n[BootOrder::Hard Disk]\nD=1\nC=1\n", 1263},
        {"[BIOS::BootOrder]\nDisk=1\n[BootOrder::Hard Disk]\nD=1\nthis is no line\n", 1133}}) {
    EXPECT_EQ(CodeOfRestore(changes + lists, 0), code) << lists;
    EXPECT_EQ(engine->writes.size(), 1U) << lists;  // the password check
  }
}

TEST_F(BootOrderTest, AFileThatCannotBeReadIsNoEmptyList) {
  SetBootOrder({"Shell", "Disk"});
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().RestoreBootOrder("/no/such.ini", 0); }), 1134);
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().RestoreBMCBootOrder("/no/such.ini", 0); }), 1134);
  WriteText(PathOf("nul.ini"), std::string("[a]\nb=\0\n", 8));
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().RestoreBMCBootOrder(PathOf("nul.ini").c_str(), 0); }),
            1133);
}

TEST_F(BootOrderTest, AStrayLineElsewhereIsNoFaultOfTheBootOrder) {
  SetBootOrder({"Shell", "Disk"});
  WriteText(PathOf("x.ini"), "stray\n[BIOS::BootOrder]\nDisk=1\n");
  OpenSaveRestore module;
  module.RestoreBootOrder(PathOf("x.ini").c_str(), 0);
  EXPECT_EQ(module.biosSetMap, SettingsBelow("/BIOS/BootOrder", "[1]=Disk|[2]=Shell"));
}

}  // namespace
}  // namespace Test
