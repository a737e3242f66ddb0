// The rules that decide which BMC values of a file reach a server, over every product, with LAN
// fail-over on and off, and over all paths that a catalogue row could become.
#include <algorithm>
#include <set>
#include <sstream>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

/// "LAN[23]/" and "IP ARPRESPONSE" as paths: each name below each of the nodes 2 and 3.
std::set<std::string> Expand(const std::string& node, const std::string& names) {
  const std::size_t bracket = node.find('[');
  std::set<std::string> paths;
  if (bracket == std::string::npos) {
    std::istringstream words(names);
    for (std::string name; words >> name;) paths.insert("/BMC/" + node + name);
    return paths;
  }
  const std::size_t end = node.find(']', bracket);
  for (const char digit : node.substr(bracket + 1, end - bracket - 1)) {
    // "<" and ">" stand for brackets that are expanded already.
    paths.merge(Expand(node.substr(0, bracket) + "<" + digit + ">" + node.substr(end + 1), names));
  }
  std::set<std::string> finished;
  for (std::string path : paths) {
    std::ranges::replace(path, '<', '[');
    std::ranges::replace(path, '>', ']');
    finished.insert(path);
  }
  return finished;
}

/// Whose servers drop what. The letters: 'o' OSKENT and VEXHAM; 'n' the other products; 'f' the
/// other products with fail-over; 't' TARVEN; 'm' the four products with the plain e-mail rows.
struct DropRow {
  const char* who;
  const char* node;
  const char* names;
};
constexpr DropRow kDrops[] = {
    {"on", "LAN[1234]/", "SUBNETMASK DEFAULTGATEWAYIP BACKUPGATEWAYIP"},
    {"o", "LAN[13]/", "IP IPV6STATUS IPV6SOURCE IPV6PREFIXLENGTH IPV6 IPV6_GATEWAYIP"},
    {"o", "LAN/", "FAILOVERMODE"},
    {"on", "USER[1]/", "NAME"},
    {"om", "USER[2]/", "NAME"},
    {"om", "USER[2]/CHANNEL[1234]/", "PRIVILEGE IPMI_AUTHENTICATION"},
    {"n", "LAN[123]/", "IP IPV6 IPV6PREFIXLENGTH IPV6_GATEWAYIP"},
    {"f", "LAN[23]/",
     "COMMUNITYSTRING GRATUITOUSARP ARPRESPONSE ARPINTERVAL IPTYPE_STATUS DEFAULTGATEWAYMAC "
     "BACKUPGATEWAYMAC IPV6STATUS IPV6SOURCE"},
    {"f", "SOL/CHANNEL[23]/", "ENABLEUSER PRIVILEGE RETRY/COUNT RETRY/INTERVAL"},
    {"t", "USER[1]/CHANNEL[1234]/", "PRIVILEGE"},
};

/// Everything else that a restore asks to set, and paths that are nearly those of a rule.
constexpr DropRow kOthers[] = {
    {"", "LAN[1234]/",
     "IP IPV6STATUS IPV6SOURCE IPV6PREFIXLENGTH IPV6 IPV6_GATEWAYIP COMMUNITYSTRING GRATUITOUSARP "
     "ARPRESPONSE ARPINTERVAL IPTYPE_STATUS DEFAULTGATEWAYMAC BACKUPGATEWAYMAC Ip IPV6STATUS2 "
     "ALERT/DESTINATION[0]/EMAIL_SUBJECT"},
    {"", "LAN/", "FAILOVERMODE DHCP_HOSTNAME"},
    {"", "SOL/CHANNEL[1234]/", "ENABLEUSER PRIVILEGE RETRY/COUNT RETRY/INTERVAL BAUDRATESERIAL"},
    {"", "USER[12345]/", "NAME STATUS"},
    {"", "USER[12345]/CHANNEL[12345]/", "PRIVILEGE IPMI_AUTHENTICATION"},
    {"", "SOL/USER[12]/CHANNEL[12]/", "PAYLOADACCESS"},
    {"", "CHANNEL[123]/NONVOLATILE/ACCESS/", "PEF_ALERTING ACCESS_MODE PRIVILEGE_LIMIT"},
    {"", "", "CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY PEF/STATUS"},
};

struct Product {
  const char* name;
  const char* groups;  ///< the letters of `DropRow::who` that it belongs to without fail-over
};
constexpr Product kProducts[] = {
    {"OSKENT", "o"},  {"VEXHAM", "o"},  {"CALDRA", "nm"}, {"MIRKET", "nm"}, {"BRISKEL", "nm"},
    {"NARDUN", "nm"}, {"TARVEN", "nt"}, {"HEMLIT", "n"},  {"caldra", "n"},  {"", "n"},
};

class SetRulesTest : public RestoreTest, public ::testing::WithParamInterface<Product> {};

TEST_P(SetRulesTest, DropsTheListedPathsAndNoOthers) {
  std::set<std::string> all = Expand("USER[2]/CHANNEL[5]/", "PRIVILEGE");
  for (const DropRow& row : kDrops) all.merge(Expand(row.node, row.names));
  for (const DropRow& row : kOthers) all.merge(Expand(row.node, row.names));
  for (const bool failOver : {false, true}) {
    std::string groups = GetParam().groups;
    if (failOver && groups != "o") groups += "f";
    std::set<std::string> dropped;
    for (const DropRow& row : kDrops) {
      if (groups.find_first_of(row.who) == std::string::npos) continue;
      dropped.merge(Expand(row.node, row.names));
    }
    if (groups.find_first_of("om") != std::string::npos) {
      // Not listed: everything of the second user but its status.
      dropped.merge(Expand("USER[2]/CHANNEL[5]/", "PRIVILEGE IPMI_AUTHENTICATION"));
    }
    SetServer("CALDRA_PLATFORM", GetParam().name);
    OpenSaveRestore module;
    module.lanFailOver = failOver;
    for (const std::string& path : all) module.ExecuteSetQuery(path.c_str(), "x");
    for (const std::string& path : all) {
      EXPECT_NE(module.bmcSetMap.contains(path), dropped.contains(path))
          << path << (failOver ? " with fail-over" : "");
    }
  }
  EXPECT_THAT(engine->writes, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Products, SetRulesTest, ::testing::ValuesIn(kProducts),
                         [](const auto& row) {
                           const std::string name = row.param.name;
                           return name.empty() ? "None" : name == "caldra" ? "LowerCase" : name;
                         });

class GroupedWriteTest : public RestoreTest {
 protected:
  OpenSaveRestore module;
};

TEST_F(GroupedWriteTest, AFilterIsWrittenWholeAndAtOnce) {
  engine->SetList("/BMC/PEF/FILTER[3]", {"/BMC/PEF/FILTER[3]/STATUS", "/BMC/PEF/FILTER[3]/ACTION"});
  engine->Set("/BMC/PEF/FILTER[3]/STATUS", "ENABLE");
  engine->Set("/BMC/PEF/FILTER[3]/ACTION", "ALERT");
  module.ExecuteSetQuery("/BMC/PEF/FILTER[3]/STATUS", "DISABLE");
  ASSERT_EQ(engine->writes.size(), 1U);
  EXPECT_EQ(engine->writes[0].how, "group(/BMC/PEF/FILTER[3])");
  EXPECT_THAT(engine->writes[0].settings,
              UnorderedElementsAre(Pair("ACTION", "ALERT"), Pair("STATUS", "DISABLE")));
  EXPECT_THAT(module.bmcSetMap, IsEmpty());
}

TEST_F(GroupedWriteTest, ADestinationGetsItsAddressesTogether) {
  const std::string node = "/BMC/LAN[2]/ALERT/DESTINATION[1]";
  engine->SetList(node, {node + "/IP", "no path", node + "/PORT"});
  engine->Set(node + "/IP", "192.0.2.1");
  engine->Set(node + "/PORT", "25");
  module.ExecuteSetLanAlertQuery(node + "/IP", {"192.0.2.9", "00-01"});
  ASSERT_EQ(engine->writes.size(), 1U);
  EXPECT_EQ(engine->writes[0].how, "group(" + node + ")");
  EXPECT_THAT(engine->writes[0].settings,
              ElementsAre(Pair("IP", "192.0.2.9"), Pair("MAC", "00-01"), Pair("PORT", "25")));
}

TEST_F(GroupedWriteTest, ANodeThatCannotBeReadIsWrittenWithAnEmptyEntry) {
  module.ExecuteSetQuery("/BMC/PEF/FILTER[3]/STATUS", "ENABLE");
  module.ExecuteSetLanAlertQuery("/BMC/LAN[1]/ALERT/DESTINATION[0]/IP", {"", "m"});
  ASSERT_EQ(engine->writes.size(), 2U);
  EXPECT_THAT(engine->writes[0].settings, ElementsAre(Pair("", ""), Pair("STATUS", "ENABLE")));
  EXPECT_THAT(engine->writes[1].settings,
              ElementsAre(Pair("", ""), Pair("IP", ""), Pair("MAC", "m")));
}

}  // namespace
}  // namespace Test
