#include <gmock/gmock.h>

#include <climits>

#include "support/TestEngine.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TextUtilitiesTest, NumbersCaseAndLists) {
  EXPECT_EQ(OpenSaveRestore::convertIntToString(INT_MIN), "-2147483648");
  EXPECT_EQ(OpenSaveRestore::convertIntToString(0), "0");
  EXPECT_EQ(OpenSaveRestore::StringToUpper("Hard Disk \xC3\xA9"), "HARD DISK \xC3\xA9");
  EXPECT_EQ(OpenSaveRestore::StringToUpper(""), "");
  EXPECT_EQ(OpenSaveRestore::GetStringPlaceInList({"AB", "ABC", "ABC"}, "ABC"), 1);
  EXPECT_EQ(OpenSaveRestore::GetStringPlaceInList({"AB", "ABC"}, "abc"), -1);
  EXPECT_EQ(OpenSaveRestore::GetStringPlaceInList({}, ""), -1);
}

TEST(TextUtilitiesTest, IndexesComeFromTheLastBrackets) {
  const auto find = OpenSaveRestore::FindIntFromString;
  EXPECT_THAT(find({"/BMC/LAN[1]/USER[3]"}), ElementsAre("3"));
  EXPECT_THAT(find({"NAME", "/BMC/LAN[2]", "IP"}), ElementsAre("ERROR", "2", ""));
  EXPECT_THAT(find({"A", "B", "[]", "]", "C"}), ElementsAre("ERROR", "ERROR", "", "", ""));
  EXPECT_THAT(find({"X[7", "a]b[8", "[9]]"}), ElementsAre("7", "8", "9]"));
  EXPECT_THAT(find({}), IsEmpty());
}

}  // namespace
}  // namespace Test
