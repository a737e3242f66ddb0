#include "common/Platform.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "common/ErrorManager.h"

namespace {

using Platform::PlatformImpl;

class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest() { PlatformImpl::inst = nullptr; }
  ~PlatformTest() override { PlatformImpl::SetNameSource({}); }
};

TEST_F(PlatformTest, IsInitialisedOnce) {
  PlatformImpl::SetNameSource({});
  EXPECT_EQ(PlatformImpl::CreateInstance()->PlatformName(), "") << "without an engine";
  PlatformImpl::inst = nullptr;  // as a program does that turns to another server
  int asked = 0;
  PlatformImpl::SetNameSource([&] { return "PLATFORM" + std::to_string(++asked); });
  PlatformImpl* const instance = PlatformImpl::CreateInstance();
  EXPECT_EQ(PlatformImpl::CreateInstance(), instance);
  EXPECT_EQ(instance->PlatformName(), "PLATFORM1");
  EXPECT_EQ(asked, 1);
}

TEST_F(PlatformTest, StaysSetWhenInitialisingFailsAndDoesNotTryAgain) {
  // What is no failure of the engine passes as what it is.
  for (const bool isEngines : {true, false}) {
    PlatformImpl::inst = nullptr;
    PlatformImpl::SetNameSource([&]() -> std::string {
      if (!isEngines) throw std::runtime_error("gone");
      ErrorManager::Raise(ErrorManager::Unreachable, "gone");
    });
    if (isEngines) {
      EXPECT_THROW(PlatformImpl::CreateInstance(), ResultStatus);
    } else {
      EXPECT_THROW(PlatformImpl::CreateInstance(), std::runtime_error);
    }
    ASSERT_NE(PlatformImpl::inst, nullptr);
    EXPECT_EQ(PlatformImpl::CreateInstance()->PlatformName(), "");
  }
}

}  // namespace
