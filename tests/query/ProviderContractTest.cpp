// What every back end promises, run over each of them. A new one adds a row at the end.
#include <gmock/gmock.h>

#include <functional>

#include "providers/machine/MachineProvider.h"
#include "query/NodeTree.h"
#include "support/TestEngine.h"
#ifdef SAVERESTORE_HOST
#include "providers/host/HostProvider.h"
#include "support/FakeHost.h"
#endif

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Provider = std::shared_ptr<SDK::QueryProvider>;

/// A back end, as a server with one menu of four settings: "Choice" (Off), "Count" (5 of 0 to 10 in
/// steps of 5), "Fixed" (a, read-only) and "Tag" (x, of at most 4 characters).
struct Subject {
  const char* name;
  std::string menu;
  std::vector<std::string> order;                             ///< of the settings
  std::function<void(const std::string& folder)> makeServer;  ///< from nothing
  std::function<Provider(const std::string& folder)> open;
};

_XNode Node(const char* value, const Query::Limits& limits) {
  _XNode node;
  node.values = {value};
  node.limits = limits;
  return node;
}

NodeMap ContractTree(const std::string& menu, const std::vector<std::string>& order) {
  using Form = Query::Limits::Form;
  NodeMap tree;
  tree["/BIOS"].values = {menu, menu + " Two"};
  for (const std::string& path : {std::string("/BIOS"), menu, menu + " Two"}) {
    tree[path].kind = NODE_MENU;
  }
  for (const std::string& name : order) tree[menu].values.push_back(menu + "/" + name);
  tree[menu + "/Choice"] = Node("Off", {});
  tree[menu + "/Choice"].options = {{"Off", "Off"}, {"On", "On"}};
  tree[menu + "/Count"] = Node("5", {false, Form::Whole, Query::Range{0, 10}, 5, {}, ""});
  tree[menu + "/Fixed"] = Node("a", {true, Form::Text, {}, 0, {}, ""});
  tree[menu + "/Tag"] = Node("x", {false, Form::Text, {}, 0, Query::Range{0, 4}, ""});
  return tree;
}

const Subject kFake = {
    "Fake",
    "/BIOS/Main",
    {"Tag", "Choice", "Count", "Fixed"},
    [](const std::string& /*folder*/) {},
    [](const std::string& /*folder*/) {
      auto provider = std::make_shared<FakeProvider>();
      provider->tree = ContractTree(kFake.menu, kFake.order);
      provider->platform = "CALDRA_PLATFORM";
      return provider;
    },
};

const Subject kMachine = {
    "Machine",
    "/BIOS/Main",
    {"Tag", "Choice", "Count", "Fixed"},
    [](const std::string& folder) {
      const NodeMap tree = ContractTree(kMachine.menu, kMachine.order);
      Machine::StoreMachine({"CALDRA_PLATFORM", "", tree, {}}, folder + "/m.json");
    },
    [](const std::string& folder) {
      return std::make_shared<Machine::MachineProvider>(folder + "/m.json");
    },
};

#ifdef SAVERESTORE_HOST
const Subject kHost = {
    "Host",
    "/BIOS/Advanced/board",
    {"Choice", "Count", "Fixed", "Tag"},  // by their names
    [](const std::string& folder) {
      FakeHost host(folder);
      host.SetDmi("product_name", "CALDRA X2");
      host.SetAttribute(
          "board", "Choice",
          {{"type", "enumeration"}, {"current_value", "Off"}, {"possible_values", "Off;On;"}});
      host.SetAttribute("board", "Count",
                        {{"type", "integer"},
                         {"current_value", "5"},
                         {"min_value", "0"},
                         {"max_value", "10"},
                         {"scalar_increment", "5"}});
      host.SetAttribute("board", "Fixed", {{"type", "string"}, {"current_value", "a"}});
      std::filesystem::permissions(host.ValueFile("board", "Fixed"),
                                   std::filesystem::perms::owner_read);
      host.SetAttribute(
          "board", "Tag",
          {{"type", "string"}, {"current_value", "x"}, {"min_length", "0"}, {"max_length", "4"}});
      host.SetAttribute("board Two", "Other", {{"current_value", "o"}});
    },
    [](const std::string& folder) {
      const FakeHost host(folder);
      return std::make_shared<Host::HostProvider>(Host::HostRoots{host.Sysfs(), host.Efivarfs()});
    },
};
#endif

class ContractTest : public EngineTest, public ::testing::WithParamInterface<const Subject*> {
 protected:
  ContractTest() {
    subject.makeServer(PathOf(""));
    provider = Open();
  }

  [[nodiscard]] Provider Open() const { return subject.open(PathOf("")); }
  [[nodiscard]] std::string At(const std::string& name) const { return subject.menu + "/" + name; }
  [[nodiscard]] NodeMap Read(const std::string& path) const {
    NodeMap results;
    provider->Read(path, results);
    return results;
  }
  [[nodiscard]] std::string Value(const std::string& name) const {
    return Read(At(name)).at(At(name)).values.front();
  }

  const Subject& subject = *GetParam();
  Provider provider;
};

class ReadContractTest : public ContractTest {};

TEST_P(ReadContractTest, AReadYieldsTheNodeAndAllBelowItButNoNeighbour) {
  const NodeMap tree = ContractTree(subject.menu, subject.order);
  const NodeMap nodes = Read(subject.menu);
  EXPECT_EQ(nodes.size(), 5U);
  for (const auto& [path, node] : nodes) EXPECT_TRUE(node == tree.at(path)) << path;
  EXPECT_EQ(Read(At("Tag")).size(), 1U);
  EXPECT_EQ(Read("/BIOS").count(subject.menu + " Two"), 1U);
  EXPECT_EQ(provider->PlatformName(), "CALDRA_PLATFORM");
}

TEST_P(ReadContractTest, ChildrenAreFullPathsInTheMachinesOrder) {
  std::vector<std::string> paths;
  for (const std::string& name : subject.order) paths.push_back(At(name));
  const NodeMap listing = Read(subject.menu + "/@children");
  EXPECT_EQ(listing.size(), 1U);
  EXPECT_THAT(listing.at(subject.menu).values, ElementsAreArray(paths));
  EXPECT_THAT(Read(At("Tag") + "/@children").at(At("Tag")).values, IsEmpty());
}

TEST_P(ReadContractTest, EntriesThatAreThereStayAndAPathThatNamesNothingAddsNone) {
  NodeMap results{{At("Tag"), Node("mine", {})}, {"/elsewhere", {}}};
  provider->Read(subject.menu, results);
  EXPECT_EQ(results.at(At("Tag")).values.front(), "mine");
  EXPECT_EQ(results.size(), 6U);
  for (const std::string& path : {subject.menu.substr(0, subject.menu.size() - 1), At("Nothing"),
                                  At("Tag/x"), At("No/@children"), std::string("/BMC")}) {
    EXPECT_EQ(CodeOf([&] { provider->Read(path, results); }), ErrorManager::NoSuchNode) << path;
  }
  EXPECT_EQ(results.size(), 6U);
}

TEST_P(ReadContractTest, WhatIsWrittenIsRead) {
  provider->Write({{At("Choice"), "On"}, {At("Count"), "10"}, {At("Nothing"), ""}}, true, false);
  provider->WriteAuthorised({{At("Tag"), "abcd"}}, "");
  EXPECT_EQ(Value("Choice"), "On");
  EXPECT_EQ(Value("Count"), "10");
  EXPECT_EQ(Value("Tag"), "abcd");
  provider->WriteGroup(subject.menu, {{"Count", "0"}, {"Fixed", "a"}});
  EXPECT_EQ(Value("Count"), "0") << "the part that is read-only has its value already";
  provider->Write({}, true, false);
  EXPECT_THAT(provider->TakeWriteNotes(), IsEmpty());
}

class WriteContractTest : public ContractTest {};

TEST_P(WriteContractTest, OneValueThatCannotBeKeepsTheWholeBatchOut) {
  struct Row {
    std::string path;
    const char* value;
    int code;
  };
  for (const Row& row : {Row{At("Nothing"), "1", ErrorManager::NoSuchNode},
                         Row{At("Choice"), "on", ErrorManager::ValueRefused},
                         Row{At("Choice"), "", ErrorManager::ValueRefused},
                         Row{At("Count"), "15", ErrorManager::ValueRefused},
                         Row{At("Count"), "7", ErrorManager::ValueRefused},
                         Row{At("Count"), "5x", ErrorManager::ValueRefused},
                         Row{At("Tag"), "abcde", ErrorManager::ValueRefused},
                         Row{At("Tag"), "\xFF", ErrorManager::ValueRefused},
                         Row{subject.menu, "x", ErrorManager::ValueRefused}}) {
    std::string message;
    try {
      provider->Write({{row.path, row.value}, {At("Choice"), "On"}, {At("Tag"), "y"}}, true, false);
    } catch (const ResultStatus& failure) {
      EXPECT_EQ(failure.getval(), row.code) << row.path;
      message = failure.message();
    }
    EXPECT_THAT(message, HasSubstr(row.path)) << row.value;
    provider = Open();
    EXPECT_EQ(Value("Choice") + Value("Tag"), "Offx") << row.path << "=" << row.value;
  }
}

TEST_P(WriteContractTest, AReadOnlySettingIsRefusedAlone) {
  EXPECT_EQ(CodeOf([&] {
              provider->WriteAuthorised({{At("Fixed"), "b"}, {At("Tag"), "y"}}, "");
            }),
            ErrorManager::WritesRefused);
  EXPECT_EQ(CodeOf([&] {
              provider->WriteGroup(subject.menu, {{"Choice", "On"}, {"Fixed", "b"}});
              provider->Write({}, true, false);  // at the latest
            }),
            ErrorManager::WritesRefused);
  EXPECT_EQ(Value("Tag") + Value("Choice") + Value("Fixed"), "yOna");
  for (int times = 0; times < 2; ++times) {
    const std::vector<SDK::WriteNote> notes = provider->TakeWriteNotes();
    ASSERT_EQ(notes.size(), times == 0 ? 2U : 0U);
    for (const SDK::WriteNote& note : notes) {
      EXPECT_EQ(note.path, At("Fixed"));
      EXPECT_EQ(note.fate, SDK::WriteNote::Fate::Refused);
      EXPECT_EQ(note.reason, "it is read-only");
    }
  }
  provider->Write({}, true, false);  // it is said once
}

TEST_P(WriteContractTest, WhereNoPasswordIsSetOnlyTheEmptyOneIsRight) {
  const auto inTwo = [&](const std::string& password) {
    provider->WriteGroup("/BIOS/AdminPw", {{"ADMIN_PW", password}, {"SETVALUE", password}});
  };
  const auto inOne = [&](const std::string& twice) {
    provider->Write({{"/BIOS/AdminPw", twice}}, true, false);
  };
  inTwo("");
  inOne("-");
  EXPECT_EQ(CodeOf([&] { inTwo("x"); }), ErrorManager::PasswordRefused);
  for (const char* twice : {"x-x", "x-y", "x", ""}) {
    EXPECT_EQ(CodeOf([&] { inOne(twice); }), ErrorManager::PasswordRefused) << twice;
  }
  EXPECT_EQ(CodeOf([&] {
              provider->WriteAuthorised({{At("Tag"), "y"}}, "x");
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(Value("Tag"), "x");
}

TEST_P(WriteContractTest, ARefreshShowsWhatAnotherHasChanged) {
  EXPECT_EQ(Value("Tag"), "x");
  Open()->Write({{At("Tag"), "y"}}, true, false);
  provider->Refresh();
  EXPECT_EQ(Value("Tag"), "y");
  provider->Write({{At("Tag"), "z"}}, true, false);
  provider = Open();
  EXPECT_EQ(Value("Tag"), "z");
}

std::vector<const Subject*> Subjects(bool withDoubles) {
  std::vector<const Subject*> subjects = {&kMachine};
  if (withDoubles) subjects.push_back(&kFake);
#ifdef SAVERESTORE_HOST
  subjects.push_back(&kHost);
#endif
  return subjects;
}

INSTANTIATE_TEST_SUITE_P(Providers, ReadContractTest, ::testing::ValuesIn(Subjects(true)),
                         [](const auto& row) { return row.param->name; });
INSTANTIATE_TEST_SUITE_P(Providers, WriteContractTest, ::testing::ValuesIn(Subjects(false)),
                         [](const auto& row) { return row.param->name; });

TEST(NodeTree, BelowANodeIsWhatFollowsASlashOrABracket) {
  NodeMap tree;
  for (const char* path : {"/BMC/LAN", "/BMC/LAN[1]", "/BMC/LAN[1]/IP", "/BMC/LAN/MODE",
                           "/BMC/LANX", "/BMC/INFO/PRODUCT"}) {
    tree[path] = {};
  }
  tree["/BMC/LAN"].values = {"/BMC/LAN[1]", "/BMC/LANX", "text"};
  const auto paths = [&](const std::string& path) {
    NodeMap results;
    Query::ReadNodes(tree, path, results);
    std::vector<std::string> found;
    for (const auto& [key, node] : results) found.push_back(key);
    return found;
  };
  EXPECT_THAT(paths("/BMC/LAN"),
              ElementsAre("/BMC/LAN", "/BMC/LAN/MODE", "/BMC/LAN[1]", "/BMC/LAN[1]/IP"));
  EXPECT_THAT(paths("/BMC/INFO"), ElementsAre("/BMC/INFO/PRODUCT"));
  EXPECT_THAT(Query::ChildrenAmong(tree["/BMC/LAN"].values, "/BMC/LAN"),
              ElementsAre("/BMC/LAN[1]"));
}

}  // namespace
}  // namespace Test
