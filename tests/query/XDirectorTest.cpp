#include "query/XDirector.h"

#include <gmock/gmock.h>

#include "query/BMCConfigModule.h"
#include "query/XEngine.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(XTokenizer, LeavesOutEmptyTokens) {
  const auto tokens = [](const char* text) {
    return Common::XEngine().ParseXQuery(text).TokenList();
  };
  EXPECT_THAT(tokens("/BIOS/Quiet Boot//x/"), ElementsAre("BIOS", "Quiet Boot", "x"));
  EXPECT_THAT(tokens("BMC"), ElementsAre("BMC"));
  EXPECT_THAT(tokens("/"), IsEmpty());
  EXPECT_THAT(tokens(""), IsEmpty());
  EXPECT_THAT(Common::XTokenizer(",a,/b", ',').TokenList(), ElementsAre("a", "/b"));
}

TEST(Shared, ACopyIsItsOwnOnceItIsChanged) {
  _XNode node;
  node.values = {"a"};
  node.options = {{"0", "Off"}};
  _XNode copy = node;
  EXPECT_TRUE(copy.options.IsCopyOf(node.options));
  copy.values.push_back("b");
  copy.options.emplace("1", "On");
  copy.limits.Edit().isReadOnly = true;
  EXPECT_THAT(node.values, ElementsAre("a"));
  EXPECT_EQ(node.options.size() + copy.options.size(), 3U);
  EXPECT_FALSE(node.limits->isReadOnly || copy == node);
  Query::TextMapPool pool;
  EXPECT_TRUE(pool.Of({{"0", "Off"}}).IsCopyOf(pool.Of(node.options)));
}

class XDirectorTest : public EngineTest {
 protected:
  XDirectorTest() {
    director->UnmountAll();
    director->Mount("BMC", bmc);
    director->Mount("BIOS", bios);
  }

  SDK::XDirectorImpl* director = SDK::XDirectorImpl::CreateInstance();
  std::shared_ptr<FakeProvider> bmc = std::make_shared<FakeProvider>();
  std::shared_ptr<FakeProvider> bios = std::make_shared<FakeProvider>();
  NodeMap results;
};

TEST_F(XDirectorTest, RoutesAReadByTheFirstTokenExactly) {
  bmc->Set("/BMC/X", "1");
  bios->Set("/BIOS/X", "2");
  director->ProcessXQuery("/BMC/X", results);
  director->ProcessXQuery("/BIOS/X", results);
  EXPECT_EQ(results.at("/BMC/X").values.front(), "1");
  EXPECT_EQ(results.at("/BIOS/X").values.front(), "2");
  for (const char* path : {"/bmc/X", "/SMBIOS/Type0", "/BMCX/Y", ""}) {
    EXPECT_EQ(CodeOf([&] { director->ProcessXQuery(path, results); }), ErrorManager::NotMounted);
  }
  try {
    director->ProcessXQuery("/SMBIOS/Type0", results);
  } catch (const ResultStatus& failure) {
    EXPECT_THAT(failure.message(), HasSubstr("/SMBIOS/Type0"));
  }
}

TEST_F(XDirectorTest, ABatchIsSplitByTreeAndKeepsItsFlags) {
  director->ProcessXQuery({{"/BMC/A", "1"}, {"/BIOS/B", "2"}, {"/BMC/C", "3"}}, true, false);
  ASSERT_EQ(bmc->writes.size(), 1U);
  EXPECT_EQ(bmc->writes[0].how, "batch(true,false)");
  EXPECT_EQ(bmc->writes[0].settings, (SDK::SettingMap{{"/BMC/A", "1"}, {"/BMC/C", "3"}}));
  EXPECT_EQ(bios->writes[0].settings, (SDK::SettingMap{{"/BIOS/B", "2"}}));
  director->ProcessXQuery(SDK::SettingMap(), false, false);  // ends what groups began
  EXPECT_EQ(bmc->writes[1].how, "batch(false,false)");
  EXPECT_EQ(bios->writes.size(), 1U);
  director->ProcessXQuery({{"/BIOS/B", "4"}}, std::string("secret"));
  EXPECT_EQ(bios->writes[1].how, "password(secret)");
  director->ProcessXQuery({{"/BIOS/Menu", {{"a", "1"}}}, {"/BMC/N", {{"b", "2"}}}});
  EXPECT_EQ(bios->writes[2].how, "group(/BIOS/Menu)");
  EXPECT_EQ(bmc->writes[2].how, "group(/BMC/N)");
}

TEST_F(XDirectorTest, ABatchWithAnUnmountedTreeWritesNothing) {
  const SDK::SettingMap batch = {{"/BIOS/B", "2"}, {"/BMC/A", "1"}, {"/SMBIOS/X", "3"}};
  EXPECT_EQ(CodeOf([&] { director->ProcessXQuery(batch, false, false); }),
            ErrorManager::NotMounted);
  EXPECT_EQ(CodeOf([&] { director->ProcessXQuery(batch, std::string()); }),
            ErrorManager::NotMounted);
  EXPECT_EQ(CodeOf([&] {
              director->ProcessXQuery({{"/BIOS/M", {}}, {"/SMBIOS/X", {}}});
            }),
            ErrorManager::NotMounted);
  EXPECT_THAT(bmc->writes, IsEmpty());
  EXPECT_THAT(bios->writes, IsEmpty());
}

TEST_F(XDirectorTest, OneProviderForSeveralTreesGetsOneBatch) {
  director->Mount("BIOS", bmc);
  director->ProcessXQuery({{"/BMC/A", "1"}, {"/BIOS/B", "2"}}, false, false);
  EXPECT_EQ(bmc->writes.size(), 1U);
}

TEST_F(XDirectorTest, TheBmcNamesThePlatformBeforeTheOthers) {
  EXPECT_EQ(director->PlatformName(), "");
  bios->platform = "FROM_BIOS";
  EXPECT_EQ(director->PlatformName(), "FROM_BIOS");
  bmc->platform = "FROM_BMC";
  EXPECT_EQ(director->PlatformName(), "FROM_BMC");
}

TEST_F(XDirectorTest, TheBmcModuleReachesTheBmcWhateverThePath) {
  Module::BMCConfig::BMCConfigModule module(4294967295UL);
  bmc->Set("/BMC/X", "1");
  module.ProcessXQuery("/BMC/X", results);
  EXPECT_TRUE(results.contains("/BMC/X"));
  SDK::SettingMap group = {{"a", "1"}};
  module.ProcessXQuery("/BMC/N", group);
  EXPECT_EQ(bmc->writes[0].how, "group(/BMC/N)");
  director->UnmountAll();
  EXPECT_EQ(CodeOf([&] { module.ProcessXQuery("/BMC/X", results); }), ErrorManager::NotMounted);
}

}  // namespace
}  // namespace Test
