#include "common/Platform.h"

#include <gtest/gtest.h>

#include "common/ErrorManager.h"

namespace {

using Platform::PlatformImpl;

class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest() { PlatformImpl::inst = nullptr; }
  ~PlatformTest() override { PlatformImpl::SetNameSource({}); }
};

TEST_F(PlatformTest, WithoutAnEngineTheNameIsEmpty) {
  PlatformImpl::SetNameSource({});
  EXPECT_EQ(PlatformImpl::CreateInstance()->PlatformName(), "");
}

TEST_F(PlatformTest, IsInitialisedOnce) {
  int asked = 0;
  PlatformImpl::SetNameSource([&] { return "PLATFORM" + std::to_string(++asked); });
  PlatformImpl* const instance = PlatformImpl::CreateInstance();
  EXPECT_EQ(PlatformImpl::CreateInstance(), instance);
  EXPECT_EQ(instance->PlatformName(), "PLATFORM1");
  EXPECT_EQ(asked, 1);
}

TEST_F(PlatformTest, StaysSetWhenInitialisingFailsAndDoesNotTryAgain) {
  PlatformImpl::SetNameSource(
      []() -> std::string { ErrorManager::Raise(ErrorManager::Unreachable, "gone"); });
  EXPECT_THROW(PlatformImpl::CreateInstance(), ResultStatus);
  ASSERT_NE(PlatformImpl::inst, nullptr);
  EXPECT_EQ(PlatformImpl::CreateInstance()->PlatformName(), "");
}

}  // namespace
