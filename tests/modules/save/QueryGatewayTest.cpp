#include <gtest/gtest.h>

#include "query/XDirector.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

class QueryGatewayTest : public EngineTest {
 protected:
  /// Makes the engine refuse its next call.
  void RefuseNext() {
    Mount(std::make_shared<FailingProvider>(engine, 1, ErrorManager::ValueRefused));
  }
};

TEST_F(QueryGatewayTest, WritesStayQueuedUntilTheEngineTakesThem) {
  SetServer("CALDRA_PLATFORM", "CALDRA");
  OpenSaveRestore module;
  module.FillBiosMapSetQuery("/BIOS/A", "1");
  module.FillBiosMapSetQuery("/BIOS/A", "2");
  module.bmcSetMap["/BMC/B"] = "3";
  RefuseNext();
  EXPECT_EQ(CodeOf([&] { module.ExecuteBiosSetMapQuery(); }), ErrorManager::ValueRefused);
  RefuseNext();
  EXPECT_EQ(CodeOf([&] { module.ExecuteBmcQuery(); }), ErrorManager::ValueRefused);
  module.ExecuteBiosSetMapQuery();
  module.ExecuteBmcQuery();
  ASSERT_EQ(engine->writes.size(), 2U);
  EXPECT_EQ(engine->writes[0].how, "password()");  // sent even when it is empty
  EXPECT_EQ(engine->writes[0].settings, (SDK::SettingMap{{"/BIOS/A", "2"}}));
  EXPECT_EQ(engine->writes[1].how, "batch(false,false)");
  EXPECT_EQ(engine->writes[1].settings, (SDK::SettingMap{{"/BMC/B", "3"}}));
  EXPECT_TRUE(module.biosSetMap.empty() && module.bmcSetMap.empty());
}

TEST_F(QueryGatewayTest, AnOlderPlatformGetsABatchWithoutThePassword) {
  SetServer("OSKENT_PLATFORM", "OSKENT");
  OpenSaveRestore module;
  module.FillBiosMapSetQuery("/BIOS/A", "5");
  module.ExecuteBiosSetMapQuery();
  ASSERT_EQ(engine->writes.size(), 1U);
  EXPECT_EQ(engine->writes[0].how, "batch(true,false)");
}

TEST_F(QueryGatewayTest, OnlyExactBmcPathsGoToTheBmcModule) {
  OpenSaveRestore module;
  const auto bmc = std::make_shared<FakeProvider>();
  SDK::XDirectorImpl::CreateInstance()->Mount("BMC", bmc);
  SDK::XDirectorImpl::CreateInstance()->Mount("bmc", engine);
  module.ExecuteSetMapQuery("/BMC/N", {{"a", "1"}});
  module.ExecuteSetMapQuery("/bmc/N", {{"a", "1"}});
  module.ExecuteGetQuery("/bmc/N/a");
  EXPECT_EQ(bmc->writes.size(), 1U);
  EXPECT_EQ(engine->writes.back().how, "group(/bmc/N)");
  EXPECT_EQ(engine->Reads("/bmc/N/a"), 1);
}

TEST_F(QueryGatewayTest, WhatTheEngineThrowsPassesUnchanged) {
  OpenSaveRestore module;
  NodeMap results = {{"/BMC/A", {}}};
  const auto code = [&](const char* path) {
    return CodeOf([&] { module.ProcessXQuery(path, results); });
  };
  EXPECT_EQ(code("/BMC/ABSENT"), ErrorManager::NoSuchNode);
  EXPECT_EQ(code("/BIOS/ABSENT"), ErrorManager::NoSuchNode);
  EXPECT_EQ(code("/ELSEWHERE/A"), ErrorManager::NotMounted);
  RefuseNext();
  EXPECT_EQ(CodeOf([&] { module.ExecuteSetMapQuery("/BMC/N", {}); }), ErrorManager::ValueRefused);
  EXPECT_EQ(results.size(), 1U);
}

}  // namespace
}  // namespace Test
