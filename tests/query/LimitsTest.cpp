// What a setting takes, and how that is said.
#include "query/Limits.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "query/XNode.h"

namespace Query {
namespace {

using Form = Limits::Form;

struct LimitsRow {
  const char* name;
  Limits limits;
  const char* words;
  std::vector<std::string> takes;
  std::vector<std::string> refuses;
};
void PrintTo(const LimitsRow& row, std::ostream* out) {
  *out << row.name;
}

const std::vector<LimitsRow> kRows = {
    {"Nothing", {}, "", {"", "any"}, {}},
    {"WholeNumber",
     {false, Form::Whole, {}, 0, {}, ""},
     "",
     {"0", "-7", "9223372036854775807"},
     {"", "1.5", "+1", " 1", "1x", "9223372036854775808"}},
    {"Range",
     {false, Form::Whole, Range{-1, 60}, 1, {}, ""},
     "-1 to 60",
     {"-1", "60"},
     {"-2", "61"}},
    {"OpenBelow", {false, Form::Whole, Range{INT64_MIN, 5}, 0, {}, ""}, "at most 5", {"-9"}, {"6"}},
    {"Steps",
     {false, Form::Whole, Range{1, 9}, 4, {}, ""},
     "1 to 9 in steps of 4",
     {"1", "5", "9"},
     {"4", "8", "13"}},
    {"StepsFromBelowZero",
     {false, Form::Whole, Range{-3, 5}, 4, {}, ""},
     "-3 to 5 in steps of 4",
     {"-3", "1", "5"},
     {"-1", "0", "4"}},
    {"Number",
     {false, Form::Number, Range{0, 2}, 0, {}, ""},
     "0 to 2",
     {"1.25", "2"},
     {"2.5", "x"}},
    {"Length",
     {false, Form::Text, {}, 0, Range{0, 2}, ""},
     "at most 2 characters",
     {"", "äö"},
     {"abc"}},
    {"Pattern",
     {false, Form::Text, {}, 0, Range{4, 20}, "iqn\\.[a-z]*"},
     "4 to 20 characters",
     {"iqn.a"},
     {"iqn", "xiqn.a", "iqn.a1"}},
    {"PatternThatDoesNotCompile", {false, Form::Text, {}, 0, {}, "["}, "", {"any"}, {}},
    {"ReadOnly", {true, Form::Whole, Range{0, 1}, 0, {}, ""}, "read-only", {"1"}, {"2"}},
};

class LimitsTest : public ::testing::TestWithParam<LimitsRow> {};

TEST_P(LimitsTest, TakeTheirValuesAndSaySo) {
  const LimitsRow& row = GetParam();
  _XNode node;
  node.limits = row.limits;
  EXPECT_EQ(Describe(row.limits), row.words);
  for (const std::string& value : row.takes) EXPECT_EQ(Objection(node, value), "") << value;
  for (const std::string& value : row.refuses) EXPECT_NE(Objection(node, value), "") << value;
  node.options = {{"6", "Six"}};
  EXPECT_EQ(Objection(node, "6"), "");
  EXPECT_EQ(Objection(node, "7"), "it is not among the options");
}

INSTANTIATE_TEST_SUITE_P(Rows, LimitsTest, ::testing::ValuesIn(kRows),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace Query
