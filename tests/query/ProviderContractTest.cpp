// What every back end promises, run over each of them. A new one adds a row at the end.
#include <gmock/gmock.h>

#include <functional>

#include "providers/machine/MachineProvider.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;

/// The server that every provider of the suite is made to be.
NodeMap ContractTree() {
  NodeMap tree;
  const auto list = [&](const char* path, std::vector<std::string> values, int kind = 0) {
    tree[path].values = std::move(values);
    tree[path].kind = kind;
  };
  list("/BIOS", {"/BIOS/Main", "/BIOS/Main Menu"}, 1);
  list("/BIOS/Main", {"/BIOS/Main/Z", "/BIOS/Main/A"}, 1);
  list("/BIOS/Main/A", {"1"});
  tree["/BIOS/Main/A"].options = {{"0", "Off"}, {"1", "On"}};
  list("/BIOS/Main/Z", {"text", "second"});
  list("/BIOS/Main Menu", {}, 1);
  list("/BMC/LAN", {"/BMC/LAN[2]", "/BMC/LAN[1]"});
  list("/BMC/LAN[1]", {"/BMC/LAN[1]/IP"});
  list("/BMC/LAN[1]/IP", {"192.0.2.1"});
  list("/BMC/LAN[2]", {});
  list("/BMC/LAN/FAILOVERMODE", {"ENABLE"});
  list("/BMC/LANX", {"other"});
  list("/BMC/INFO/PRODUCT", {"CALDRA"});
  return tree;
}

struct Subject {
  const char* name;
  std::function<std::shared_ptr<SDK::QueryProvider>(const std::string& folder)> make;
};

std::shared_ptr<SDK::QueryProvider> MakeFake(const std::string& /*folder*/) {
  auto provider = std::make_shared<FakeProvider>();
  provider->tree = ContractTree();
  provider->platform = "CONTRACT_PLATFORM";
  return provider;
}

std::shared_ptr<SDK::QueryProvider> MakeMachine(const std::string& folder) {
  WriteText(folder + "/m.json",
            Machine::RenderMachine({"CONTRACT_PLATFORM", "", ContractTree(), {}}));
  return std::make_shared<Machine::MachineProvider>(folder + "/m.json");
}

class ProviderContractTest : public EngineTest, public ::testing::WithParamInterface<Subject> {
 protected:
  /// The paths that a read of `path` yields.
  std::vector<std::string> Paths(const std::string& path) {
    NodeMap results;
    provider->Read(path, results);
    std::vector<std::string> paths;
    for (const auto& [key, node] : results) {
      paths.push_back(key);
      if (path.ends_with("@children")) continue;
      EXPECT_EQ(node, ContractTree().at(key)) << key;
    }
    return paths;
  }

  std::shared_ptr<SDK::QueryProvider> provider = GetParam().make(PathOf(""));
};

TEST_P(ProviderContractTest, AReadYieldsTheNodeAndAllBelowItButNoNeighbour) {
  EXPECT_THAT(Paths("/BIOS/Main"), ElementsAre("/BIOS/Main", "/BIOS/Main/A", "/BIOS/Main/Z"));
  EXPECT_THAT(Paths("/BMC/LAN"), ElementsAre("/BMC/LAN", "/BMC/LAN/FAILOVERMODE", "/BMC/LAN[1]",
                                             "/BMC/LAN[1]/IP", "/BMC/LAN[2]"));
  EXPECT_THAT(Paths("/BMC/LAN[1]/IP"), ElementsAre("/BMC/LAN[1]/IP"));
  EXPECT_THAT(Paths("/BMC/INFO"), ElementsAre("/BMC/INFO/PRODUCT"));
}

TEST_P(ProviderContractTest, ChildrenAreFullPathsInTheMachinesOrder) {
  NodeMap results;
  provider->Read("/BIOS/Main/@children", results);
  ASSERT_THAT(Paths("/BIOS/Main/@children"), ElementsAre("/BIOS/Main"));
  EXPECT_THAT(results.at("/BIOS/Main").values, ElementsAre("/BIOS/Main/Z", "/BIOS/Main/A"));
  results.clear();
  provider->Read("/BMC/LAN/@children", results);
  EXPECT_THAT(results.at("/BMC/LAN").values, ElementsAre("/BMC/LAN[2]", "/BMC/LAN[1]"));
  results.clear();
  provider->Read("/BIOS/Main/A/@children", results);
  EXPECT_THAT(results.at("/BIOS/Main/A").values, ::testing::IsEmpty());
}

TEST_P(ProviderContractTest, EntriesThatAreThereStay) {
  NodeMap results;
  results["/BIOS/Main/A"].values = {"mine"};
  results["/elsewhere"].values = {"mine too"};
  provider->Read("/BIOS/Main", results);
  EXPECT_EQ(results.at("/BIOS/Main/A").values.front(), "mine");
  EXPECT_EQ(results.size(), 4U);
}

TEST_P(ProviderContractTest, APathThatNamesNothingIsAFailureThatChangesNothing) {
  for (const char* path : {"/BIOS/Mai", "/BMC/LAN[3]", "/BIOS/Main/A/x", "/BIOS/No/@children"}) {
    NodeMap results;
    EXPECT_EQ(CodeOf([&] { provider->Read(path, results); }), ErrorManager::NoSuchNode) << path;
    EXPECT_TRUE(results.empty());
  }
}

TEST_P(ProviderContractTest, WhatIsWrittenIsRead) {
  const auto value = [&](const std::string& path) {
    NodeMap results;
    provider->Read(path, results);
    return results.at(path).values.front();
  };
  provider->Write({{"/BIOS/Main/A", "0"}, {"/BMC/LAN/FAILOVERMODE", "DISABLE"}}, false, false);
  EXPECT_EQ(value("/BIOS/Main/A"), "0");
  EXPECT_EQ(value("/BMC/LAN/FAILOVERMODE"), "DISABLE");
  provider->WriteAuthorised({{"/BIOS/Main/Z", "new"}}, "");
  EXPECT_EQ(value("/BIOS/Main/Z"), "new");
  provider->WriteGroup("/BMC/LAN[1]", {{"IP", "192.0.2.2"}});
  EXPECT_EQ(value("/BMC/LAN[1]/IP"), "192.0.2.2");
  provider->Write({}, true, false);
  EXPECT_EQ(provider->PlatformName(), "CONTRACT_PLATFORM");
}

INSTANTIATE_TEST_SUITE_P(Providers, ProviderContractTest,
                         ::testing::Values(Subject{"Fake", MakeFake},
                                           Subject{"Machine", MakeMachine}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace Test
