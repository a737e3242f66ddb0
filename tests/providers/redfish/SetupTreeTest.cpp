// How attributes and their registry become menus and settings, with all that registries get wrong.
#include "providers/redfish/SetupTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <utility>
#include <vector>

namespace Redfish {
namespace {

using nlohmann::json;
using ::testing::ElementsAreArray;

/// A tree, one line for each node: the path below the root, and of a setting its value, its
/// options and what is special about it.
std::vector<std::string> Lines(const SetupTree& tree) {
  std::vector<std::string> lines;
  for (const auto& [path, node] : tree.nodes) {
    std::string line = path.substr(std::string(kSetupRoot).size());
    if (node.kind == NODE_SETTING) {
      line += "=" + (node.values.empty() ? std::string("(none)") : node.values.front());
      for (const auto& [value, text] : node.options) line += " " + value + ":" + text;
      if (!node.remark.empty()) line += " " + node.remark.Get();
    }
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

/// A registry with these lists.
json Registry(const char* attributes, const char* menus) {
  return {{"RegistryEntries",
           {{"Attributes", json::parse(attributes)}, {"Menus", json::parse(menus)}}}};
}

struct TreeRow {
  const char* name;
  const char* values;      ///< JSON
  const char* attributes;  ///< the registry's, JSON; empty: there is no registry
  const char* menus;       ///< JSON
  std::vector<std::string> lines;
};
void PrintTo(const TreeRow& row, std::ostream* out) {
  *out << row.name;
}

const std::vector<TreeRow> kTreeRows = {
    {"NoRegistry",
     R"({"B": 1, "A": "x", "C": true, "A@x": 1, "O": {}, "N": null})",
     "",
     "",
     {"/A=x", "/B=1", "/C=true false:False true:True", "/N=(none)"}},
    {"MenusNamedByTheirOwnPath",
     R"({"A": 1})",
     R"([{"AttributeName": "A", "DisplayName": "Alpha", "MenuPath": "./M/N"}])",
     R"([{"MenuName": "M", "MenuPath": "./M", "DisplayName": "Menu"},
         {"MenuName": "N", "MenuPath": "./M/N", "DisplayName": "Inner"}])",
     {"/Menu", "/Menu/Inner", "/Menu/Inner/Alpha=1 attribute A"}},
    {"MenusNamedByTheirParentsPath",
     R"({"A": 1})",
     R"([{"AttributeName": "A", "DisplayName": "Alpha", "MenuPath": "./M/N"}])",
     R"([{"MenuName": "M", "MenuPath": "./", "DisplayName": "Menu"},
         {"MenuName": "N", "MenuPath": "./M", "DisplayName": "Inner"},
         {"MenuName": "Empty", "MenuPath": "./", "DisplayName": "Empty"}])",
     {"/Menu", "/Menu/Inner", "/Menu/Inner/Alpha=1 attribute A"}},
    {"AMenuThatNobodyDescribes",
     R"({"A": 1, "B": 2})",
     R"([{"AttributeName": "A", "MenuPath": "./X Y/Z"}, {"AttributeName": "B"}])",
     "[]",
     {"/B=2", "/X Y", "/X Y/Z", "/X Y/Z/A=1"}},
    {"LabelsAreOneComponent",
     R"({"A": 1})",
     R"([{"AttributeName": "A", "DisplayName": " Read /\n\tWrite  ", "MenuPath": "./M"}])",
     R"([{"MenuName": "M", "MenuPath": "./M", "DisplayName": "I/O  Ports"}])",
     {"/I%2FO Ports", "/I%2FO Ports/Read %2F Write=1 attribute A"}},
    {"EqualLabelsOfSettingsAndMenus",
     R"({"A": 1, "B": 2, "C": 3, "D": 4})",
     R"([{"AttributeName": "A", "DisplayName": "Port", "MenuPath": "./M"},
         {"AttributeName": "B", "DisplayName": "Port", "MenuPath": "./M"},
         {"AttributeName": "C", "DisplayName": "Port", "MenuPath": "./N"},
         {"AttributeName": "D", "DisplayName": "Nic"}])",
     R"([{"MenuName": "M", "MenuPath": "./M", "DisplayName": "Nic"},
         {"MenuName": "N", "MenuPath": "./N", "DisplayName": "Nic"}])",
     {"/Nic (D)=4 attribute D", "/Nic (M)", "/Nic (M)/Port (A)=1 attribute A",
      "/Nic (M)/Port (B)=2 attribute B", "/Nic (N)", "/Nic (N)/Port=3 attribute C"}},
    {"ASuffixThatIsTakenAlready",
     R"({"A": 1, "B": 2, "C": 3})",
     R"-([{"AttributeName": "C", "DisplayName": "Port (A)"},
          {"AttributeName": "A", "DisplayName": "Port"},
          {"AttributeName": "B", "DisplayName": "Port"}])-",
     "[]",
     {"/Port (A)=3 attribute C", "/Port (A) (A)=1 attribute A", "/Port (B)=2 attribute B"}},
    {"OptionsWithAndWithoutTexts",
     R"({"A": "1", "B": "x", "C": "?"})",
     R"([{"AttributeName": "A", "Value": [{"ValueName": "0", "ValueDisplayName": "Off"},
                                          {"ValueName": "1", "ValueDisplayName": " On "}]},
         {"AttributeName": "B", "Values": [{"ValueName": "x"}, {"ValueName": "x"}, 7, {}]},
         {"AttributeName": "C", "Value": [{"ValueName": "x", "ValueDisplayName": "I/O"}]}])",
     "[]",
     {"/A=1 0:Off 1:On", "/B=x x:x", "/C=? ?:? x:I/O"}},
    {"OfTwoEntriesTheFirstCounts",
     R"({"A": 1})",
     R"([{"AttributeName": "A", "DisplayName": "First"},
         {"AttributeName": "A", "DisplayName": "Second", "Hidden": true}])",
     "[]",
     {"/First=1 attribute A"}},
    {"WhatIsLeftOut",
     R"({"H": 1, "W": 1, "P": "x", "OldSetupPASSWORD": "h", "ChapSecret": "s",
                          "InHidden": 1, "DeepHidden": 1, "SecretMode": "On", "PwdLength": 8})",
     R"([{"AttributeName": "H", "Hidden": true}, {"AttributeName": "W", "WriteOnly": true},
         {"AttributeName": "P", "Type": "Password"}, {"AttributeName": "RegistryOnly"},
         {"AttributeName": "OldSetupPASSWORD", "Type": "String"},
         {"AttributeName": "InHidden", "MenuPath": "./M"},
         {"AttributeName": "DeepHidden", "MenuPath": "./M/N"},
         {"AttributeName": "SecretMode", "Type": "Enumeration"}])",
     R"([{"MenuName": "M", "MenuPath": "./M", "Hidden": true}])",
     {"/PwdLength=8", "/SecretMode=On"}},
    {"WhatIsMarked",
     R"({"R": 1, "I": 2, "U": "tag"})",
     R"([{"AttributeName": "R", "ReadOnly": true}, {"AttributeName": "I", "Immutable": true},
         {"AttributeName": "U", "IsSystemUniqueProperty": true, "GrayOut": true}])",
     "[]",
     {"/I=2 read-only", "/R=1 read-only", "/U=tag greyed out; unique to this system"}},
    {"SiblingsCountWhetherTheyAreShownOrNot",
     R"({"A": 1})",
     R"([{"AttributeName": "A", "DisplayName": "Port"}, {"AttributeName": "B", "DisplayName": "Port"},
         {"AttributeName": "C", "DisplayName": "Gone", "MenuPath": "./M"}])",
     "[]",
     {"/Port (A)=1 attribute A"}},
    {"AnObjectIsAMenu",
     R"({"A": {"X": {"Y": 1}, "AdminPassword": "x"}})",
     R"([{"AttributeName": "A", "DisplayName": "Ports"}])",
     "[]",
     {"/Ports", "/Ports/X", "/Ports/X/Y=1"}},
    {"LimitsAreSaid",
     R"({"N": 1, "T": "x", "B": true, "P": "x"})",
     R"-([{"AttributeName": "N", "UpperBound": 9, "LowerBound": 1, "ScalarIncrement": 2},
          {"AttributeName": "T", "MaxLength": 5}, {"AttributeName": "P", "ValueExpression": "("},
          {"AttributeName": "B", "Value": [{"ValueName": "0", "ValueDisplayName": "Off"},
                                           {"ValueName": 1, "ValueDisplayName": "On"}]}])-",
     "[]",
     {"/B=true false:Off true:On", "/N=1 1 to 9 in steps of 2", "/P=x",
      "/T=x at most 5 characters"}},
    {"EntriesThatMakeNoSense",
     R"({"A": 1, "B": "x"})",
     R"([null, 7, [], {"AttributeName": 3}, {"AttributeName": "A", "DisplayName": 4, "Type": [],
         "MenuPath": {}, "Value": 5, "LowerBound": "low", "UpperBound": null, "Hidden": "yes"},
         {"AttributeName": "B", "DisplayName": "\u0000\u0001", "MenuPath": "//./", "Value": {}}])",
     R"([null, {"MenuName": 1}, {"MenuPath": []}])",
     {"/A=1", "/B=x"}},
};

class TreeTest : public ::testing::TestWithParam<TreeRow> {};

TEST_P(TreeTest, BecomesTheseNodes) {
  const TreeRow& row = GetParam();
  const bool hasRegistry = row.attributes[0] != '\0';
  const SetupTree tree = BuildSetupTree(json::parse(row.values),
                                        hasRegistry ? Registry(row.attributes, row.menus) : json());
  EXPECT_THAT(Lines(tree), ElementsAreArray(row.lines));
}

INSTANTIATE_TEST_SUITE_P(Rows, TreeTest, ::testing::ValuesIn(kTreeRows),
                         [](const auto& instance) { return std::string(instance.param.name); });

/// The remark of A, which takes 0 to 9, while M is "x" and N is 3, under the rule of a registry
/// "M EQU "x" OR N GTR 5 OF Hidden true".
std::string RemarkUnder(const std::string& rule) {
  json terms = json::array();
  std::istringstream words(rule);
  std::string join, attribute, condition, value;
  while (join != "OF" && words >> attribute >> condition >> value) {
    terms.push_back({{"MapFromAttribute", attribute},
                     {"MapFromCondition", condition},
                     {"MapFromValue", json::parse(value)},
                     {"MapTerms", join}});
    words >> join;
  }
  words >> attribute >> value;
  json registry = Registry(
      R"([{"AttributeName": "A", "Type": "Integer", "LowerBound": 0, "UpperBound": 9},
          {"AttributeName": "M", "DisplayName": "Mode"}])",
      "[]");
  registry["RegistryEntries"]["Dependencies"] = {{{"Dependency",
                                                   {{"MapFrom", terms},
                                                    {"MapToAttribute", "A"},
                                                    {"MapToProperty", attribute},
                                                    {"MapToValue", json::parse(value)}}}}};
  return BuildSetupTree(json::parse(R"({"A": 5, "M": "x", "N": 3})"), registry)
      .nodes.at("/BIOS/Advanced/A")
      .remark;
}

TEST(SetupTreeTest, ASettingSaysWhatOthersMakeOfIt) {
  const std::pair<const char*, const char*> rows[] = {
      {R"(M EQU "x" OF GrayOut true)", "0 to 9; greyed out while BIOS::Advanced::Mode is x"},
      {R"(M NEQ "y" OF ReadOnly true)", "0 to 9; read-only while BIOS::Advanced::Mode is not y"},
      {"N GTR 2 OF Hidden true", "0 to 9; hidden while BIOS::Advanced::N is more than 2"},
      {"N GEQ 3 OF Hidden true", "0 to 9; hidden while BIOS::Advanced::N is at least 3"},
      {"N LSS 4 OF Hidden true", "0 to 9; hidden while BIOS::Advanced::N is less than 4"},
      {"N LEQ 3 OF Hidden true", "0 to 9; hidden while BIOS::Advanced::N is at most 3"},
      {R"(M EQU "y" OR N EQU 3 OF Hidden true)",
       "0 to 9; hidden while BIOS::Advanced::Mode is y or BIOS::Advanced::N is 3"},
      {"N EQU 3 OF UpperBound 4", "0 to 4"},
      {"N EQU 3 OF UpperBound 20", "0 to 20"},
      {"N EQU 3 OF LowerBound 10", ""},
      {"N EQU 3 OF ScalarIncrement 2", "0 to 9 in steps of 2"},
  };
  for (const auto& [rule, remark] : rows) EXPECT_EQ(RemarkUnder(rule), remark) << rule;
  for (const char* rule :
       {R"(M EQU "y" OF GrayOut true)", R"(M NEQ "x" OF ReadOnly true)", "N GTR 3 OF Hidden true",
        "N GEQ 4 OF Hidden true", "N LSS 3 OF Hidden true", "N LEQ 2 OF Hidden true",
        R"(N GTR "2" OF Hidden true)", R"(Gone NEQ "x" OF Hidden true)",
        R"(M EQU "x" AND N EQU 4 OF Hidden true)", "N LIKE 3 OF Hidden true",
        "N EQU 3 OF Hidden false", "N EQU 4 OF ScalarIncrement 2"}) {
    EXPECT_EQ(RemarkUnder(rule), "0 to 9") << rule;
  }
}

TEST(SetupTreeTest, MenusListTheirChildrenInTheRegistrysOrder) {
  const SetupTree tree = BuildSetupTree(
      json::parse(R"({"A": 1, "B": 2})"),
      Registry(R"([{"AttributeName": "B", "MenuPath": "./M"}, {"AttributeName": "A"}])", "[]"));
  EXPECT_THAT(tree.nodes.at(kSetupRoot).values,
              ::testing::ElementsAre("/BIOS/Advanced/M", "/BIOS/Advanced/A"));
}

TEST(SetupTreeTest, AMenuPathWithoutEndIsCutShort) {
  std::string path = ".";
  for (int depth = 0; depth < 100'000; ++depth) path += "/m";
  const json registry = {
      {"RegistryEntries", {{"Attributes", {{{"AttributeName", "A"}, {"MenuPath", path}}}}}}};
  EXPECT_EQ(BuildSetupTree({{"A", 1}}, registry).attributes.size(), 1U);
}

/// The JSON of `text` for an attribute that now has `value`; "refused" for none.
std::string Converted(const json& value, const std::string& text) {
  const SetupTree tree = BuildSetupTree({{"A", value}}, nullptr);
  const auto result = ToJson(tree.attributes.at("/BIOS/Advanced/A"), text);
  return result ? result->dump() : "refused";
}

TEST(SetupTreeTest, AValueKeepsItsJsonType) {
  EXPECT_EQ(Converted("1", "2"), "\"2\"");
  EXPECT_EQ(Converted("x", "true"), "\"true\"");
  EXPECT_EQ(Converted("x", "\xff"), "refused");
  EXPECT_EQ(Converted(1, "-20"), "-20");
  for (const char* text : {"", "1.5", "1x", "true", "\"1\"", "[1]"}) {
    EXPECT_EQ(Converted(1, text), "refused") << text;
  }
  EXPECT_EQ(Converted(1.5, "2.25"), "2.25");
  EXPECT_EQ(Converted(true, "false"), "false");
  EXPECT_EQ(Converted(true, "1"), "true");
  EXPECT_EQ(Converted(true, "yes"), "refused");
}

TEST(SetupTreeTest, ARegistryAloneGivesTheValuesOfTheFactory) {
  const json registry = Registry(
      R"([{"AttributeName": "Current", "CurrentValue": 5, "DefaultValue": 6},
          {"AttributeName": "Default", "DefaultValue": "b"},
          {"AttributeName": "List", "Type": "Enumeration", "Value": [{"ValueName": "first"}]},
          {"AttributeName": "Low", "Type": "Integer", "LowerBound": 3},
          {"AttributeName": "Bare", "Type": "Integer"}, {"AttributeName": "Flag", "Type": "Boolean"},
          {"AttributeName": "Text", "Type": "String"}])",
      "[]");
  EXPECT_EQ(AttributesOfRegistry(registry),
            json::parse(R"({"Current": 5, "Default": "b", "List": "first", "Low": 3, "Bare": 0,
                            "Flag": false, "Text": null})"));
}

}  // namespace
}  // namespace Redfish
