#include "common/ErrorManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "common/Wipe.h"

namespace {

using ErrorManager::Raise;

ResultStatus Raised(auto... arguments) {
  try {
    Raise(arguments...);
  } catch (const ResultStatus& failure) {
    return failure;
  }
}

TEST(ErrorManager, EveryNumberCanBeRaisedWithoutArguments) {
  const std::set<int> module = {1040, 1041, 1042, 1043, 1044, 1045, 1046, 1133,
                                1134, 1177, 1178, 1179, 1180, 1263, 1353};
  for (int code = 0; code <= 0xFFFF; ++code) {
    const ResultStatus failure = Raised(code);
    const std::string text = ErrorManager::ErrorMgr::GetInstance()->Get(code);
    EXPECT_EQ(failure.getval(), code);
    EXPECT_EQ(failure.detail(), "");
    EXPECT_EQ(failure.command(), code == 1040 || code == 1041 ? XCOMMAND_FILE : XCOMMAND_QUERY);
    EXPECT_EQ(failure.message() == text, text.find('%') == std::string::npos) << code;
    EXPECT_EQ(failure.message().find('%'), std::string::npos) << code;
    EXPECT_STREQ(failure.what(), failure.message().c_str());
    EXPECT_TRUE(!module.contains(code) || text.find('%') == std::string::npos) << code;
    EXPECT_EQ(text.find("is not in the error catalogue.") == std::string::npos,
              module.contains(code) || (code >= 2048 && code <= 2062))
        << code;
  }
  EXPECT_TRUE(Raised(1353).message().ends_with("/BIOS/Serial Port Configuration"));
  EXPECT_EQ(Raised(ErrorManager::NoSuchForm, "it").message(),
            "it does not support this kind of write at (not said).");
  EXPECT_EQ(Raised(ErrorManager::ValueRefused, std::string("/BIOS/100%"), "%s%n", "odd").message(),
            "/BIOS/100% cannot be set to \"%s%n\": odd.");
}

TEST(Logger, FormatsMessagesOfAnyLength) {
  std::string out = "before";
  LOGGER::Logger* logger = LOGGER::Logger::CreateInstance();
  logger->CreateMessage(out, "100%% of %d %s", 3, "parts");
  EXPECT_EQ(out, "100% of 3 parts");
  const std::string longText(5000, 'x');
  logger->CreateMessage(out, "%s", longText.c_str());
  EXPECT_EQ(out, longText);
  logger->CreateMessage(out, "");
  EXPECT_EQ(out, "");
}

/// True when all that the text has room for is NUL bytes.
bool IsErased(const std::string& text) {
  const char* bytes = text.data();  // the capacity is its own, whatever its size
  return text.empty() && std::all_of(bytes, bytes + text.capacity(), [](char c) { return c == 0; });
}

TEST(Wipe, OverwritesEveryByteThatTheTextOwns) {
  std::string secret = "a secret that is longer than the short-string buffer";
  const std::size_t capacity = secret.capacity();
  secret.resize(3);  // what stands behind the end is erased as well
  Common::Wipe(secret);
  EXPECT_TRUE(IsErased(secret));
  EXPECT_EQ(secret.capacity(), capacity) << "it was moved, and its old place is not erased";
  std::string brief = "short";
  { const Common::WipeOnExit wipe(brief); }
  EXPECT_TRUE(IsErased(brief));
}

}  // namespace
