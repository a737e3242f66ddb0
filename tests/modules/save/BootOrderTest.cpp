// The two boot orders: how a file's list becomes an order, and how that reaches the server.
#include "modules/save/BootOrder.h"

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

struct OrderRow {
  const char* name;
  std::vector<std::string> live;
  std::map<std::string, std::string> wanted;
  std::vector<std::string> order;  ///< empty: it stays
  int code = 0;
  const char* refused = "";
};

class RearrangedTest : public ::testing::TestWithParam<OrderRow> {};

TEST_P(RearrangedTest, PutsTheDevicesWhereTheFileWantsThem) {
  std::optional<std::vector<std::string>> order;
  std::string entry;
  const int code = CodeOf(
      [&] { order = SDK::BootOrder::Rearranged(GetParam().live, GetParam().wanted, entry); });
  EXPECT_EQ(code, GetParam().code);
  EXPECT_EQ(order.value_or(std::vector<std::string>()), GetParam().order);
  EXPECT_EQ(code == 0 ? "" : entry, GetParam().refused);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RearrangedTest,
    ::testing::Values(
        OrderRow{"Same", {"a", "b"}, {{"a", "1"}, {"b", "2"}}, {}},
        OrderRow{"Swapped", {"a", "b"}, {{"a", "2"}, {"b", "1"}}, {"b", "a"}},
        OrderRow{"UnnamedFillInLiveOrder",
                 {"a", "b", "c", "d"},
                 {{"d", "1"}, {"b", "3"}},
                 {"d", "a", "b", "c"}},
        OrderRow{"UnnamedStayWhereTheyFit", {"a", "b", "c"}, {{"b", "2"}}, {}},
        OrderRow{"NoneNamed", {"a", "b"}, {}, {}},
        OrderRow{"BlanksDoNotCount", {" a", "b\t"}, {{"a \r", " 2 "}, {"b", "1\r"}}, {"b\t", " a"}},
        OrderRow{"LeadingZeros", {"a", "b"}, {{"a", "002"}}, {"b", "a"}},
        OrderRow{"OneNameTwice", {"x", "a", "x"}, {{"x", "3"}, {"a", "2"}}, {}},
        OrderRow{"OneNameTwiceMoved", {"x", "x", "a"}, {{"a", "1"}, {"x", "3"}}, {"a", "x", "x"}},
        OrderRow{"NamesThatDifferInBlanks", {"x", " x"}, {{"x", "1"}, {" x", "2"}}, {}},
        OrderRow{
            "ANamelessPositionStays", {"a", "", "b"}, {{"a", "3"}, {"b", "1"}}, {"b", "", "a"}},
        OrderRow{"UnknownDevice", {"a"}, {{"z", "1"}}, {}, 1263, "z"},
        OrderRow{"CaseCounts", {"a"}, {{"A", "1"}}, {}, 1263, "A"},
        OrderRow{"Zero", {"a"}, {{"a", "0"}}, {}, 1263, "a"},
        OrderRow{"BeyondTheEnd", {"a"}, {{"a", "2"}}, {}, 1263, "a"},
        OrderRow{"Huge", {"a"}, {{"a", "99999999999999999999999"}}, {}, 1263, "a"},
        OrderRow{"Negative", {"a"}, {{"a", "-1"}}, {}, 1263, "a"},
        OrderRow{"Signed", {"a"}, {{"a", "+1"}}, {}, 1263, "a"},
        OrderRow{"NoNumber", {"a"}, {{"a", "first"}}, {}, 1263, "a"},
        OrderRow{"HalfANumber", {"a"}, {{"a", "1st"}}, {}, 1263, "a"},
        OrderRow{"OnePositionForTwo", {"a", "b"}, {{"a", "1"}, {"b", "1"}}, {}, 1263, "b"},
        OrderRow{"MoreOfANameThanThereAre", {"a", "b"}, {{"a", "1"}, {" a", "2"}}, {}, 1263, " a"},
        OrderRow{"EmptyPosition", {"a"}, {{"a", ""}}, {}, 1134, "a"},
        OrderRow{"BlankPosition", {"a"}, {{"a", " \t"}}, {}, 1134, "a"}),
    [](const auto& row) { return row.param.name; });

class BootOrderTest : public RestoreTest {
 protected:
  BootOrderTest() { Menu("/BIOS/Exit"); }  // one that takes no part

  void SetBootOrder(const std::vector<std::string>& names) {
    engine->SetList("/BIOS/BootOrder", {});
    for (std::size_t position = 1; position <= names.size(); ++position) {
      const std::string path = "/BIOS/BootOrder[" + std::to_string(position) + "]";
      engine->tree["/BIOS/BootOrder"].values.push_back(path);
      engine->Set(path, names[position - 1]);
    }
  }
  /// Adds an entry to the BMC's boot order, with disks.
  void AddEntry(const std::vector<std::string>& disks) {
    auto& entries = engine->tree["/BMC/BOOTORDER"].values;
    const std::string entry = "/BMC/BOOTORDER[" + std::to_string(entries.size() + 1) + "]";
    entries.push_back(entry);
    engine->tree[entry];
    if (disks.empty()) return;
    for (const std::string& disk : disks) {
      auto& list = engine->tree[entry + "/HDD"].values;
      list.push_back(entry + "/HDD[" + std::to_string(list.size() + 1) + "]");
      engine->Set(list.back(), disk);
    }
  }

  const std::string kNoDisks = "\"BootOrder::Hard Disk\" is empty, skip this item\n";
};

TEST_F(BootOrderTest, EveryPositionIsQueuedWhenTheOrderChanges) {
  SetBootOrder({"Shell", "Disk", "Net"});
  EXPECT_EQ(Restore("[BIOS::BootOrder]\nDisk=1\nShell=2\n", 0), kNoDisks);
  EXPECT_THAT(BiosBatch(),
              ElementsAre(Pair("/BIOS/BootOrder[1]", "Disk"), Pair("/BIOS/BootOrder[2]", "Shell"),
                          Pair("/BIOS/BootOrder[3]", "Net")));
  Restore("[BIOS::BootOrder]\nDisk=1\nShell=2\n", 0);
  EXPECT_THAT(BiosBatch(), IsEmpty());
}

TEST_F(BootOrderTest, AMissingListChangesNothingAndIsSaid) {
  SetBootOrder({"Shell", "Disk"});
  const std::string said = "\"BIOS::BootOrder\" is empty, skip this item\n" + kNoDisks;
  EXPECT_EQ(Restore("[POWER]\n", 0), said);
  EXPECT_EQ(Restore("[BIOS::BootOrder]\n[BootOrder::Hard Disk]\n", 0), said);
  SetBootOrder({});
  engine->tree.erase("/BIOS/BootOrder[1]");
  engine->tree.erase("/BIOS/BootOrder[2]");
  EXPECT_EQ(Restore("[BIOS::BootOrder]\nShell=1\n", 0), kNoDisks);
  EXPECT_THAT(BiosBatch(), IsEmpty());
  EXPECT_THAT(BmcBatch(), IsEmpty());
}

TEST_F(BootOrderTest, SkippingItIgnoresBothLists) {
  SetBootOrder({"Shell", "Disk"});
  Menu("/BIOS/Main", {{"A", "1"}});
  EXPECT_EQ(Restore("[BIOS::Main]\nA=2\n[BIOS::BootOrder]\nNoSuch=77\n[BootOrder::Hard Disk]\nx=\n",
                    0, true),
            "");
  EXPECT_EQ(engine->Reads("/BIOS/BootOrder") + engine->Reads("/BMC/BOOTORDER"), 0);
  EXPECT_THAT(BiosBatch(), ElementsAre(Pair("/BIOS/Main/A", "2")));
}

TEST_F(BootOrderTest, TheDisksOfTheLastEntryThatHasSomeAreReordered) {
  AddEntry({"A", "B"});
  AddEntry({});
  AddEntry({"C", "D"});
  AddEntry({});
  EXPECT_EQ(Restore("[BootOrder::Hard Disk]\nD=1\nC=2\n", 0), "");
  EXPECT_THAT(BmcBatch(), ElementsAre(Pair("/BMC/BOOTORDER[3]/HDD[1]", "D"),
                                      Pair("/BMC/BOOTORDER[3]/HDD[2]", "C")));
  Restore("[BootOrder::Hard Disk]\nD=1\nC=2\n", 0);
  for (const auto& write : engine->writes) EXPECT_NE(write.how, "batch(false,false)");
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
  EXPECT_THAT(module.biosSetMap,
              ElementsAre(Pair("/BIOS/BootOrder[1]", "Disk"), Pair("/BIOS/BootOrder[2]", "Shell")));
}

}  // namespace
}  // namespace Test
