#include <gmock/gmock.h>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ReadQueriesTest : public EngineTest {
 protected:
  ReadQueriesTest() {
    engine->SetList("/BMC/LAN", {"/BMC/LAN[1]", "/BMC/LAN[2]"});
    engine->Set("/BMC/LAN[1]/IP", "192.0.2.1");
    engine->Set("/BMC/LAN[2]/IP", "192.0.2.2");
    engine->SetList("/BMC/LAN[1]/EMPTY", {});
  }

  OpenSaveRestore module;
};

TEST_F(ReadQueriesTest, ACollectionReadByItsOwnPathAnswersForAllBelowIt) {
  EXPECT_THAT(module.ExecuteBaseQuery("/BMC/LAN"), ElementsAre("/BMC/LAN[1]", "/BMC/LAN[2]"));
  const std::size_t reads = engine->reads.size();
  EXPECT_EQ(module.ExecuteGetQuery("/BMC/LAN[1]/IP"), "192.0.2.1");
  EXPECT_THAT(module.ExecuteBaseQuery("/BMC/LAN[2]/IP"), ElementsAre("192.0.2.2"));
  EXPECT_EQ(engine->reads.size(), reads);
  // What it lacks a get asks for, and keeps in a widened copy. It is looked up under the collection
  // all the same, so the next get asks again; a list is not worth a query of its own.
  engine->Set("/BMC/LAN[3]/IP", "192.0.2.3");
  EXPECT_EQ(module.ExecuteGetQuery("/BMC/LAN[3]/IP"), "192.0.2.3");
  EXPECT_TRUE(module.readCache.at("/BMC/LAN[3]/IP").contains("/BMC/LAN[1]/IP"));
  EXPECT_FALSE(module.readCache.at("/BMC/LAN").contains("/BMC/LAN[3]/IP"));
  EXPECT_EQ(module.ExecuteGetQuery("/BMC/LAN[3]/IP"), "192.0.2.3");
  EXPECT_THAT(module.ExecuteBaseQuery("/BMC/LAN[3]/IP"), ElementsAre("ERROR"));
  EXPECT_EQ(engine->Reads("/BMC/LAN[3]/IP"), 2);
}

TEST_F(ReadQueriesTest, WithoutTheCollectionEveryReadAsksAndIsKeptUnderItsOwnPath) {
  module.ExecuteGetQuery("/BMC/LAN[1]/IP");
  module.ExecuteGetQuery("/BMC/LAN[1]/IP");
  EXPECT_EQ(engine->Reads("/BMC/LAN[1]/IP"), 2);
  EXPECT_TRUE(module.readCache.contains("/BMC/LAN[1]/IP"));
  EXPECT_FALSE(module.readCache.contains("/BMC/LAN"));
}

TEST_F(ReadQueriesTest, APathIsLookedUpUnderItsFirstTwoTokensWithoutTheIndex) {
  for (const auto& [path, key] :
       {std::pair{"/BMC/LAN[3]", "/BMC/LAN"},
        {"/BIOS/Server Management/A/B", "/BIOS/Server Management"},
        {"/BIOS/Slot[1][2]/A", "/BIOS/Slot[1]"},
        {"/BIOS/PlatformID", "/BIOS/PlatformID"},
        {"/BMC/LAN[1]/ALERT/DESTINATION[0]/IP", "/BMC/LAN[1]/ALERT/DESTINATION[0]/IP"},
        {"/SMBIOS", "/SMBIOS"}}) {
    engine->Set(path, "v");
    OpenSaveRestore fresh;
    fresh.ExecuteBaseQuery(key);
    const std::size_t reads = engine->reads.size();
    EXPECT_EQ(fresh.ExecuteGetQuery(path), "v") << path;
    EXPECT_EQ(engine->reads.size(), reads) << path;
  }
}

TEST_F(ReadQueriesTest, WithoutTheCacheEveryReadAsksAndOnlyCountsAreKept) {
  module.readCacheEnabled = false;
  module.readCache.clear();
  module.ExecuteBaseQuery("/BMC/LAN");
  module.ExecuteBaseQuery("/BMC/LAN");
  module.ExecuteGetQuery("/BMC/LAN[1]/IP");
  EXPECT_EQ(engine->Reads("/BMC/LAN"), 2);
  EXPECT_THAT(module.readCache, IsEmpty());
  EXPECT_EQ(module.ExecuteCountQuery("/BMC/LAN"), "2");
  EXPECT_TRUE(module.readCache.contains("/BMC/LAN"));
}

TEST_F(ReadQueriesTest, AnEmptyNodeAndAnAbsentOneAreToldApartByTheCountOnly) {
  for (const auto& [path, count] :
       {std::pair{"/BMC/LAN[1]/EMPTY", "0"}, {"/BMC/LAN[9]/IP", ""}, {"/BMC/LAN[1]", ""}}) {
    EXPECT_EQ(module.ExecuteGetQuery(path), "");
    EXPECT_THAT(module.ExecuteBaseQuery(path), ElementsAre("ERROR"));
    EXPECT_EQ(module.ExecuteCountQuery(path), count) << path;
  }
  EXPECT_FALSE(module.readCache.contains("/BMC/LAN[9]/IP"));
}

TEST_F(ReadQueriesTest, OnlyThePlainCountLetsAnUnreachableServerThrough) {
  for (const int code : {int{ErrorManager::Unreachable}, int{ErrorManager::NotPermitted}}) {
    const auto fail = [&] { Mount(std::make_shared<FailingProvider>(engine, 1, code)); };
    fail();
    EXPECT_EQ(module.ExecuteGetQuery("/BMC/X/Y"), "");
    fail();
    EXPECT_THAT(module.ExecuteBaseQuery("/BMC/X/Y"), ElementsAre("ERROR"));
    fail();
    EXPECT_EQ(CodeOf([&] { module.ExecuteCountQuery("/BMC/LAN"); }), code == 2048 ? 2048 : 0);
  }
}

TEST_F(ReadQueriesTest, ChildrenAreCountedAndNamedPastTheCache) {
  std::vector<std::string> names = {"old"};
  EXPECT_EQ(module.ExecuteCountQuery("/BMC/LAN", names), "2");
  EXPECT_THAT(names, ElementsAre("/BMC/LAN[1]", "/BMC/LAN[2]"));
  EXPECT_EQ(engine->Reads("/BMC/LAN/@children"), 1);
  EXPECT_FALSE(module.readCache.contains("/BMC/LAN"));
  // Neither a failure nor an answer without the node touches the names.
  class Mute final : public FakeProvider {
    void Read(const std::string& /*path*/, NodeMap& results) override { results["/other"] = {}; }
  };
  const auto failing = std::make_shared<FailingProvider>(engine, 1, ErrorManager::Unreachable);
  for (const std::shared_ptr<SDK::QueryProvider>& server :
       {std::shared_ptr<SDK::QueryProvider>(failing), {std::make_shared<Mute>()}}) {
    Mount(server);
    EXPECT_EQ(module.ExecuteCountQuery("/BMC/LAN", names), "");
    EXPECT_EQ(names.size(), 2U);
  }
}

TEST_F(ReadQueriesTest, SumsAreOverEveryIndexOfTheLanChannelsButAnEmptyOne) {
  engine->Set("/BMC/LAN[1]/N", " 012x");
  engine->Set("/BMC/LAN[2]/N", "-2");
  EXPECT_EQ(module.ExecuteCalcQuery("/BMC/LAN[]/N"), "10");
  EXPECT_EQ(module.ExecuteCalcQuery("/BMC/LAN[]/ABSENT"), "0");
  // A path of two tokens is its own list; without "[]" its first value counts for each member.
  engine->SetList("/BMC/ALONE", {"5[1]", "x[2]", "x[]"});
  EXPECT_EQ(module.ExecuteCalcQuery("/BMC/ALONE"), "15");
  engine->Set("/BMC/LAN[1]/N", "2147483647");
  engine->Set("/BMC/LAN[2]/N", "1");
  EXPECT_EQ(OpenSaveRestore().ExecuteCalcQuery("/BMC/LAN[]/N"), "-2147483648");
  engine->SetList("/BMC/LAN", {"NAME", "/BMC/LAN[]", "/BMC/LAN[x]", "IP"});
  engine->Set("/BMC/LAN[x]/N", "3");
  engine->Set("/BMC/LAN[ERROR]/N", "4");
  engine->Set("/BMC/LAN[]/N", "5");
  EXPECT_EQ(OpenSaveRestore().ExecuteCalcQuery("/BMC/LAN[]/N"), "7");
  engine->tree.clear();
  engine->reads.clear();
  EXPECT_EQ(OpenSaveRestore().ExecuteCalcQuery("/BMC/LAN[]/N"), "0");
  EXPECT_EQ(engine->reads.back(), "/BMC/LAN[ERROR]/N");
}

}  // namespace
}  // namespace Test
