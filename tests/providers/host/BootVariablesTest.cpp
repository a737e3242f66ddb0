// The UEFI boot order: names, hostile variables, and the bytes that a write leaves.
#include "providers/host/BootVariables.h"

#include <gmock/gmock.h>

#include "HostTest.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string Bytes(std::initializer_list<int> numbers) {
  std::string text;
  for (const int number : numbers) text += static_cast<char>(number);
  return text;
}

class BootVariablesTest : public HostTest {
 protected:
  /// The names in their order.
  [[nodiscard]] std::vector<std::string> Order() const {
    std::vector<std::string> names;
    NodeMap nodes;
    provider->Read("/BIOS/BootOrder", nodes);
    for (const std::string& position : nodes.at("/BIOS/BootOrder").values) {
      names.push_back(nodes.at(position).values.at(0));
    }
    EXPECT_EQ(nodes.size(), names.size() + 1);
    return names;
  }

  /// Writes a name for every position from the first on.
  void WriteOrder(const std::vector<std::string>& names) {
    SDK::SettingMap batch;
    for (std::size_t index = 0; index < names.size(); ++index) {
      batch["/BIOS/BootOrder[" + std::to_string(index + 1) + "]"] = names[index];
    }
    provider->WriteAuthorised(batch, "");
  }

  BootVariablesTest() {
    provider = std::make_shared<Host::HostProvider>(Host::HostRoots{host.Sysfs(), host.Efivarfs()});
  }

  void SetThree() {
    host.SetBootEntry(0, "Debian");
    host.SetBootEntry(1, "Network");
    host.SetBootEntry(0xAB, "Shell");
    host.SetBootOrder({0, 1, 0xAB});
  }
};

TEST_F(BootVariablesTest, EveryEntryHasANameOfItsOwnAndTheOldestKeepsTheBareOne) {
  host.SetBootEntry(2, " Disk ");
  host.SetBootEntry(3, "");
  host.SetBootEntry(4, "Grüße");
  host.SetBootOrder({2, 3, 0x2A, 4});
  EXPECT_THAT(Order(), ElementsAre("Disk", "Boot0003", "Boot002A", "Grüße"));
  EXPECT_THAT(Read("/BIOS").at("/BIOS").values, IsEmpty()) << "the order is no menu";
  host.SetBootEntry(5, "Disk");  // one that came later stands before it
  host.SetBootOrder({5, 2, 3, 0x2A, 4});
  provider->Refresh();
  EXPECT_THAT(Order(), ElementsAre("Disk (Boot0005)", "Disk", "Boot0003", "Boot002A", "Grüße"));
  WriteOrder({"Boot002A", "Disk", "Disk (Boot0005)", "Boot0003", "Grüße"});
  EXPECT_EQ(host.Variable("BootOrder").substr(4), Bytes({0x2A, 0, 2, 0, 5, 0, 3, 0, 4, 0}));
}

TEST_F(BootVariablesTest, BrokenVariablesKeepTheirPlaces) {
  host.SetVariable("Boot0001", "");
  host.SetVariable("Boot0002", Bytes({1, 0, 0}));
  host.SetVariable("Boot0003", Bytes({1, 0, 0, 0, 0xFF, 0xFF, 'A', 0, 'B', 0}));  // no end
  host.SetVariable("Boot0004", Bytes({1, 0, 0, 0, 4, 0, 0x3D, 0xD8, 0, 0, 0x7F, 0xFF, 4, 0}));
  host.SetBootOrder({1, 2, 3, 4});
  const std::vector<std::string> names = Order();
  ASSERT_EQ(names.size(), 4U);
  EXPECT_EQ(names[0], "Boot0001");
  EXPECT_EQ(names[1], "Boot0002");
  EXPECT_EQ(names[2], "Boot0003");
}

TEST_F(BootVariablesTest, AWriteKeepsTheAttributesAndReplacesTheWholeOrder) {
  SetThree();
  host.SetVariable("BootOrder", Bytes({0, 0, 1, 0, 7}), 0x47);  // half of an entry too many
  EXPECT_THAT(Order(), ElementsAre("Debian", "Network"));
  WriteOrder({"Network", "Debian"});
  EXPECT_EQ(host.Variable("BootOrder"), Bytes({0x47, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(BootVariablesTest, AnOrderWithAnUnknownOrADoubledEntryIsRefused) {
  SetThree();
  const std::string before = host.Variable("BootOrder");
  const std::pair<int, std::vector<std::string>> rows[] = {
      {ErrorManager::ValueRefused, {"Debian", "Shell", "Netware"}},
      {ErrorManager::ValueRefused, {"Shell"}},
      {ErrorManager::ValueRefused, {"", "", ""}},
      {ErrorManager::NoSuchNode, {"Debian", "Network", "Shell", "More"}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CodeOf([&] { WriteOrder(row.second); }), row.first);
  }
  EXPECT_EQ(host.Variable("BootOrder"), before);
}

TEST_F(BootVariablesTest, AnOrderThatIsNotTakenIsSaid) {
  SetThree();
  const auto write = [&] { return CodeOf([&] { WriteOrder({"Shell", "Debian", "Network"}); }); };
  int error = ENOSPC;
  Host::HostRoots roots{host.Sysfs(), host.Efivarfs(), {}};
  roots.write = [&](const auto& /*file*/, auto /*bytes*/) { return error; };
  provider = std::make_shared<Host::HostProvider>(roots);
  EXPECT_EQ(write(), ErrorManager::WritesRefused);
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 3U) << "for each position";
  EXPECT_EQ(notes.at("BootOrder[1]"), "refused: No space left on device");
  error = EPERM;
  EXPECT_EQ(write(), ErrorManager::NotPermitted);
  error = 0;
  EXPECT_EQ(write(), ErrorManager::WritesRefused);
  EXPECT_EQ(TakeNotes().at("BootOrder[1]"), "ignored: the firmware kept its boot order");
}

TEST_F(BootVariablesTest, AnotherProgramReadsTheOrderThatWasWritten) {
  if (RunShell("command -v efibootmgr >/dev/null") != 0) {
    GTEST_SKIP() << "efibootmgr is not here";
  }
  SetThree();
  WriteOrder({"Shell", "Debian", "Network"});
  const std::string command =
      "EFIVARFS_PATH='" + host.Efivarfs() + "' efibootmgr >'" + PathOf("order.txt") + "' 2>&1";
  ASSERT_EQ(RunShell(command), 0) << ReadText(PathOf("order.txt"));
  const std::string text = ReadText(PathOf("order.txt"));
  EXPECT_THAT(text, HasSubstr("BootOrder: 00AB,0000,0001\n"));
  EXPECT_THAT(text, HasSubstr("Boot00AB* Shell"));

  const std::string change = "EFIVARFS_PATH='" + host.Efivarfs() + "' efibootmgr -q -o 1,ab,0 >'" +
                             PathOf("order.txt") + "' 2>&1";
  ASSERT_EQ(RunShell(change), 0) << ReadText(PathOf("order.txt"));
  provider->Refresh();
  EXPECT_THAT(Order(), ElementsAre("Network", "Shell", "Debian"));
}

}  // namespace
}  // namespace Test
