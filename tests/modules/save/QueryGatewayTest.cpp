#include <gmock/gmock.h>

#include "query/XDirector.h"
#include "support/TestEngine.h"

namespace Test {
namespace {

class QueryGatewayTest : public EngineTest {
 protected:
  /// The code of an action whose first call of the engine is refused.
  template <typename Action>
  int CodeOfRefused(Action action) {
    Mount(std::make_shared<FailingProvider>(engine, 1, ErrorManager::ValueRefused));
    return CodeOf(action);
  }
  void ExpectWrite(std::size_t number, const char* how, const SDK::SettingMap& settings) {
    ASSERT_LT(number, engine->writes.size());
    EXPECT_EQ(engine->writes[number].how, how);
    EXPECT_EQ(engine->writes[number].settings, settings);
  }
};

TEST_F(QueryGatewayTest, WritesStayQueuedUntilTheEngineTakesThem) {
  SetServer("CALDRA_PLATFORM", "CALDRA");
  OpenSaveRestore module;
  module.FillBiosMapSetQuery("/BIOS/A", "1");
  module.FillBiosMapSetQuery("/BIOS/A", "2");
  module.bmcSetMap["/BMC/B"] = "3";
  EXPECT_EQ(CodeOfRefused([&] { module.ExecuteBiosSetMapQuery(); }), ErrorManager::ValueRefused);
  EXPECT_EQ(CodeOfRefused([&] { module.ExecuteBmcQuery(); }), ErrorManager::ValueRefused);
  module.ExecuteBiosSetMapQuery();
  module.ExecuteBmcQuery();
  module.ExecuteBmcQuery();
  ExpectWrite(0, "password()", {{"/BIOS/A", "2"}});  // sent even when it is empty
  ExpectWrite(1, "batch(false,false)", {{"/BMC/B", "3"}});
  ExpectWrite(2, "batch(false,false)", {});
  SetServer("OSKENT_PLATFORM", "OSKENT");
  OpenSaveRestore older;
  older.FillBiosMapSetQuery("/BIOS/A", "5");
  older.ExecuteBiosSetMapQuery();
  older.ExecuteBiosSetMapQuery();
  ExpectWrite(3, "batch(true,false)", {{"/BIOS/A", "5"}});
  ExpectWrite(4, "batch(true,false)", {});
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
  ExpectWrite(0, "group(/bmc/N)", {{"a", "1"}});
  EXPECT_EQ(engine->Reads("/bmc/N/a"), 1);
}

TEST_F(QueryGatewayTest, WhatTheEngineThrowsPassesUnchanged) {
  OpenSaveRestore module;
  NodeMap results = {{"/BMC/A", {}}};
  for (const auto& [path, code] : {std::pair{"/BMC/ABSENT", ErrorManager::NoSuchNode},
                                   {"/BIOS/ABSENT", ErrorManager::NoSuchNode},
                                   {"/ELSEWHERE/A", ErrorManager::NotMounted}}) {
    EXPECT_EQ(CodeOf([&, name = path] { module.ProcessXQuery(name, results); }), code);
  }
  EXPECT_EQ(CodeOfRefused([&] { module.ExecuteSetMapQuery("/BMC/N", {}); }),
            ErrorManager::ValueRefused);
  EXPECT_EQ(results.size(), 1U);
}

}  // namespace
}  // namespace Test
