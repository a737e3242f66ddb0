#pragma once

#include "RedfishService.h"
#include "support/Paths.h"
#include "support/ToolRun.h"

namespace Test {

/// Runs the tool against the strict service.
class ToolOnRedfishTest : public RedfishTest {
 protected:
  void SetUp() override {
    RedfishTest::SetUp();
    WriteText(PathOf("password"), std::string(RedfishService::kPassword) + "\n");
  }

  [[nodiscard]] ToolOutcome Run(const std::string& arguments) const {
    return RunTool(ToolProgram(), PathOf(""), arguments);
  }
  [[nodiscard]] ToolOutcome RunRemote(const std::string& arguments) const {
    return Run("--target redfish:admin@" + service->Host() + " --cacert " + service->CaCert() +
               " --bmc-password-file password --timeout 2 " + arguments);
  }
};

}  // namespace Test
