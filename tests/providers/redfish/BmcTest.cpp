// The tree of a BMC over Redfish: what it reads of which service, and asks for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "RedfishService.h"
#include "providers/redfish/BmcTable.h"
#include "providers/redfish/RedfishProvider.h"
#include "support/Paths.h"

namespace Test {
namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kAccounts = "/redfish/v1/AccountService/Accounts";
const std::string kManager = "/redfish/v1/Managers/BMC";

class BmcTest : public RedfishTest {
 protected:
  void Open() {
    provider.reset();
    provider = std::make_unique<Redfish::RedfishProvider>(
        service->Endpoint(), Redfish::Credentials{RedfishService::kUser, RedfishService::kPassword},
        "");
  }
  std::string Value(const std::string& path) {
    NodeMap nodes;
    const int code = CodeOf([&] { provider->Read(path, nodes); });
    return code == 0 ? nodes.at(path).values.at(0) : "(none)";
  }
  std::vector<std::string> Children(const std::string& path) {
    NodeMap nodes;
    provider->Read(path + "/@children", nodes);
    return nodes.at(path).values;
  }

  std::unique_ptr<Redfish::RedfishProvider> provider;
};

TEST_F(BmcTest, AReadKeepsTheContractAndAsksNothingTwice) {
  Open();
  EXPECT_THAT(Children("/BMC/LAN"), ElementsAre("/BMC/LAN[1]", "/BMC/LAN[2]"));
  EXPECT_THAT(Children("/BMC/USER[3]/CHANNEL"),
              ElementsAre("/BMC/USER[3]/CHANNEL[1]", "/BMC/USER[3]/CHANNEL[2]"));
  EXPECT_THAT(Children("/BMC/LAN[1]/ALERT/DESTINATION"),
              ElementsAre("/BMC/LAN[1]/ALERT/DESTINATION[0]", "/BMC/LAN[1]/ALERT/DESTINATION[1]"));
  EXPECT_EQ(Children("/BMC/PEF/FILTER").size(), 12U);
  NodeMap nodes;
  nodes["/BMC/LAN[1]/IP"].values = {"mine"};
  provider->Read("/BMC/LAN[1]", nodes);
  EXPECT_EQ(nodes.at("/BMC/LAN[1]/IP").values.front(), "mine");
  EXPECT_TRUE(nodes.contains("/BMC/LAN[1]/ALERT/DESTINATION[1]/IP"));
  for (const auto& [path, node] : nodes) EXPECT_THAT(path, StartsWith("/BMC/LAN[1]"));
  for (const char* path : {"/BMC/LAN[3]/IP", "/BMC/LAN[0]/IP", "/BMC/LAN[1]/I", "/BMC/LA",
                           "/BMC/LAN/FAILOVERMODE", "/BMC/LAN[3]/@children", "/BMC/PEF/STATUS",
                           "/BMC/LAN[1]/ALERT/DESTINATION[2]/IP", "/BMC/USER[6]/NAME"}) {
    NodeMap none;
    EXPECT_EQ(CodeOf([&] { provider->Read(path, none); }), ErrorManager::NoSuchNode) << path;
    EXPECT_THAT(none, IsEmpty());
  }
  provider->Read("/BMC", nodes);
  service->TakeLines();
  provider->Read("/BMC", nodes);
  EXPECT_THAT(service->TakeLines(), IsEmpty());
}

TEST_F(BmcTest, ServicesDiffer) {
  struct Row {
    const char* name;
    std::string resource;
    const char* patch;
    const char* path;
    const char* value;
  };
  const Row rows[] = {
      {"a role of its own", kAccounts + "/3", R"({"RoleId": "Auditor"})",
       "/BMC/USER[3]/CHANNEL[1]/PRIVILEGE", "AUDITOR"},
      {"ids that are no numbers", kAccounts + "/5", R"({"Id": "backup", "UserName": "b"})",
       "/BMC/USER[5]/NAME", "b"},
      {"ids that leave numbers out", kAccounts + "/5", R"({"Id": "12", "UserName": "b"})",
       "/BMC/USER[12]/NAME", "b"},
      {"an interface that is switched off", kManager + "/EthernetInterfaces/shared",
       R"({"InterfaceEnabled": false})", "/BMC/LAN[1]/IP", "198.51.100.20"},
      {"no communities", kManager + "/NetworkProtocol", R"({"SNMP": {"CommunityStrings": null}})",
       "/BMC/LAN[1]/COMMUNITYSTRING", "traps"},
      {"hidden communities", kManager + "/NetworkProtocol",
       R"({"SNMP": {"CommunityStrings": [{"CommunityString": "******"}]}})",
       "/BMC/LAN[1]/COMMUNITYSTRING", "N.A."},
      {"addresses from a router", kManager + "/EthernetInterfaces/shared",
       R"({"StatelessAddressAutoConfig": {"IPv6AutoConfigEnabled": true}})",
       "/BMC/LAN[1]/IPV6SOURCE", "AUTO"},
      {"no e-mail", "/redfish/v1/EventService", R"({"SMTP": null})",
       "/BMC/LAN[1]/ALERT/DESTINATION[0]/FROM_EMAIL_ADDRESS", "(none)"},
      {"no console", RedfishService::kSystem, R"({"SerialConsole": null})",
       "/BMC/SOL/CHANNEL[1]/ENABLEUSER", "(none)"},
      {"a policy of its own", RedfishService::kSystem, R"({"PowerRestorePolicy": "Oem"})",
       "/BMC/CHASSIS/STATUS/POWERSTATE/RESTOREPOLICY", "(none)"},
      {"no trap", "/redfish/v1/EventService/Subscriptions", R"({"Members": []})",
       "/BMC/LAN[1]/ALERT/DESTINATION[0]/IP", "0.0.0.0"},
  };
  for (const Row& row : rows) {
    service->Renew();
    service->Edit(row.resource, json::parse(row.patch));
    Open();
    EXPECT_EQ(Value(row.path), row.value) << row.name;
  }
  service->Renew();
  service->Knobs({"no-bmc"});
  Open();
  EXPECT_EQ(Value("/BMC/INFO/VERSION"), "2.84.1");
  EXPECT_EQ(Value("/BMC/LAN[1]/IP") + Value("/BMC/USER[2]/NAME"), "(none)(none)");
}

TEST_F(BmcTest, AChangeIsOneRequestForTheStateThatWasRead) {
  const std::string baud = "/BMC/SOL/CHANNEL[1]/BAUDRATESERIAL";
  const std::string serial = kManager + "/SerialInterfaces/1";
  Open();
  EXPECT_EQ(Value(baud), "115200");
  service->TakeRequests();
  EXPECT_EQ(CodeOf([&] { provider->Write({{baud, "57600"}}, false, false); }), 0);
  const std::vector<RedfishRequest> requests = service->TakeRequests();
  ASSERT_EQ(requests.size(), 2U);  // and what has become of it
  EXPECT_EQ(requests[0].line, "PATCH " + serial);
  EXPECT_TRUE(requests[0].ifMatch);
  EXPECT_EQ(requests[0].body, json({{"BitRate", "57600"}}));
  EXPECT_EQ(Value(baud), "57600");

  service->Edit(serial, {{"BitRate", "9600"}});  // by somebody else
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{baud, "38400"}}, false, false);
            }),
            ErrorManager::WritesRefused);
  EXPECT_THAT(service->TakeLines(), Contains("PATCH " + serial));
  EXPECT_EQ(service->State("tree").at(serial).at("BitRate"), "9600");
}

TEST_F(BmcTest, ABmcKeepsItsAddresses) {
  Open();
  for (const char* leaf :
       {"IP", "SUBNETMASK", "DEFAULTGATEWAYIP", "IPV6", "IPV6PREFIXLENGTH", "IPV6_GATEWAYIP"}) {
    const std::string path = std::string("/BMC/LAN[1]/") + leaf;
    EXPECT_EQ(CodeOf([&] { provider->Write({{path, "192.0.2.99"}}, false, false); }), 0) << path;
    const std::vector<SDK::WriteNote> notes = provider->TakeWriteNotes();
    ASSERT_EQ(notes.size(), 1U) << path;
    EXPECT_EQ(notes[0].reason, "a BMC keeps its own addresses") << path;
  }
  EXPECT_THAT(service->TakeLines(), Not(Contains(StartsWith("PATCH "))));
}

// The types of the resources, by `Redfish::Holder`.
constexpr const char* kTypes[] = {
    "Manager",           "ComputerSystem",         "ManagerAccount",
    "EthernetInterface", "ManagerNetworkProtocol", "SerialInterface",
    "EventService",      "EventDestination",       "EventDestination"};

/// The properties that a profile names at and below a place, with "=" behind one that is written.
void AddNamed(const json& place, const std::string& name, std::set<std::string>& named) {
  if (!place.contains("PropertyRequirements")) {
    named.insert(name + (place.contains("WriteRequirement") ? "=" : ""));
    return;
  }
  for (const auto& [member, below] : place["PropertyRequirements"].items()) {
    AddNamed(below, name + "/" + member, named);
  }
}

TEST(ProfileTest, NamesWhatTheTableReadsAndWrites) {
  const json profile = json::parse(ReadText(SourceFolder() + "/docs/saverestore.profile.json"));
  std::set<std::string> named;
  for (const char* type : std::set<const char*>(std::begin(kTypes), std::end(kTypes))) {
    AddNamed(profile["Resources"][type], type, named);
  }
  // What stands there beside the table: ways to other resources, and what tells which one is meant.
  for (const char* name : {"ComputerSystem/Bios", "ComputerSystem/BiosVersion",
                           "ComputerSystem/Boot/BootOrder=", "ComputerSystem/Boot/BootOptions",
                           "ComputerSystem/Links/ManagedBy", "Manager/EthernetInterfaces",
                           "Manager/NetworkProtocol", "Manager/SerialInterfaces",
                           "ManagerAccount/Password=", "EthernetInterface/InterfaceEnabled",
                           "EventService/Subscriptions", "EventDestination/Protocol",
                           "EventDestination/SubscriptionType"}) {
    EXPECT_EQ(named.erase(name), 1U) << name;
  }
  std::set<std::string> inTable;
  for (const Redfish::BmcRow& row : Redfish::BmcTable()) {
    if (row.codec == Redfish::BmcCodec::Presence) continue;  // of what other rows are members of
    for (std::string place : {std::string(row.pointer), std::string(row.otherwise)}) {
      if (place.empty()) continue;
      if (const std::size_t first = place.find("/0/"); first != std::string::npos) {
        place.erase(first, 2);
      }
      // The fixed address is written where the interface leaves DHCP.
      const bool isWritten =
          row.access == Redfish::BmcAccess::Changed || place.starts_with("/IPv4StaticAddresses");
      inTable.insert(kTypes[static_cast<int>(row.holder)] + place + (isWritten ? "=" : ""));
    }
  }
  EXPECT_EQ(named, inTable);
}

}  // namespace
}  // namespace Test
