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

/// "LAN[23]/" and "IP ARPRESPONSE" as paths: each name below each of the nodes 2 and 3.
std::set<std::string> Expand(const std::string& node, const std::string& names,
                             std::size_t from = 0) {
  std::set<std::string> paths;
  const std::size_t bracket = node.find('[', from);
  if (bracket == std::string::npos) {
    std::istringstream words(names);
    for (std::string name; words >> name;) paths.insert("/BMC/" + node + name);
    return paths;
  }
  const std::size_t end = node.find(']', bracket);
  for (const char digit : node.substr(bracket + 1, end - bracket - 1)) {
    const std::string head = node.substr(0, bracket + 1) + digit;
    paths.merge(Expand(head + node.substr(end), names, head.size()));
  }
  return paths;
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

const auto kNameOfProduct = [](const auto& row) {
  const std::string name = row.param.name;
  return name.empty() ? "None" : name == "caldra" ? "LowerCase" : name;
};
INSTANTIATE_TEST_SUITE_P(Products, SetRulesTest, ::testing::ValuesIn(kProducts), kNameOfProduct);

TEST_F(RestoreTest, AGroupIsWrittenWholeAndAtOnce) {
  const std::string filter = "/BMC/PEF/FILTER[3]", target = "/BMC/LAN[2]/ALERT/DESTINATION[1]";
  engine->SetList(filter, {filter + "/STATUS", filter + "/ACTION"});
  engine->Set(filter + "/STATUS", "ENABLE");
  engine->Set(filter + "/ACTION", "ALERT");
  engine->SetList(target, {target + "/IP", "no path", target + "/PORT"});
  engine->Set(target + "/IP", "192.0.2.1");
  engine->Set(target + "/PORT", "25");
  OpenSaveRestore module;
  module.ExecuteSetQuery((filter + "/STATUS").c_str(), "DISABLE");
  module.ExecuteSetLanAlertQuery(target + "/IP", {"192.0.2.9", "00-01"});
  // Nodes that cannot be read are written with an empty entry.
  module.ExecuteSetQuery("/BMC/PEF/FILTER[4]/STATUS", "ENABLE");
  module.ExecuteSetLanAlertQuery("/BMC/LAN[1]/ALERT/DESTINATION[0]/IP", {"", "m"});
  std::vector<std::string> written;
  for (const auto& write : engine->writes) {
    written.push_back(write.how);
    for (const auto& [name, value] : write.settings) written.back() += " " + name + "=" + value;
  }
  EXPECT_THAT(written, ElementsAre("group(" + filter + ") ACTION=ALERT STATUS=DISABLE",
                                   "group(" + target + ") IP=192.0.2.9 MAC=00-01 PORT=25",
                                   "group(/BMC/PEF/FILTER[4]) = STATUS=ENABLE",
                                   "group(/BMC/LAN[1]/ALERT/DESTINATION[0]) = IP= MAC=m"));
  EXPECT_THAT(module.bmcSetMap, IsEmpty());
}

}  // namespace
}  // namespace Test
