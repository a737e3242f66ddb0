#include "common/ErrorManager.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(ErrorManager, EveryModuleErrorCarriesItsTextAnEmptyDetailAndItsCommandKind) {
  for (const int code :
       {1040, 1041, 1042, 1043, 1044, 1045, 1046, 1133, 1134, 1177, 1178, 1179, 1180, 1263}) {
    const ResultStatus failure = Raised(code);
    EXPECT_EQ(failure.getval(), code);
    EXPECT_EQ(failure.message(), ErrorManager::ErrorMgr::GetInstance()->Get(code)) << code;
    EXPECT_TRUE(failure.message().ends_with('.')) << code;
    EXPECT_EQ(failure.message().find('%'), std::string::npos) << code;
    EXPECT_EQ(failure.detail(), "");
    EXPECT_EQ(failure.command(), code <= 1041 ? XCOMMAND_FILE : XCOMMAND_QUERY) << code;
    EXPECT_STREQ(failure.what(), failure.message().c_str());
  }
}

TEST(ErrorManager, ArgumentsStandInTheTextOfABackEndsError) {
  const ResultStatus failure =
      Raised(ErrorManager::ValueRefused, std::string("/BIOS/100%"), "%s%n", "it is odd");
  EXPECT_EQ(failure.message(), "/BIOS/100% cannot be set to \"%s%n\": it is odd.");
}

TEST(ErrorManager, AnUnknownCodeSaysSo) {
  EXPECT_EQ(Raised(4711).message(), "Error 4711 is not in the error catalogue.");
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

TEST(Logger, ASinkGetsWholeRecordsUntilItIsReplaced) {
  LOGGER::Logger* logger = LOGGER::Logger::CreateInstance();
  std::vector<LOGGER::LogRecord> records;
  const auto before = logger->SetSink([&](const auto& record) { records.push_back(record); });
  logger->Log(LOGGER::Warning, "a/file", "Function", 479, "%d of %s", 1, "two");
  logger->SetSink(before);
  logger->Log(LOGGER::Warning, "a/file", "Function", 480, "dropped");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, 2);
  EXPECT_EQ(records[0].file, "a/file");
  EXPECT_EQ(records[0].function, "Function");
  EXPECT_EQ(records[0].line, 479);
  EXPECT_EQ(records[0].text, "1 of two");
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
