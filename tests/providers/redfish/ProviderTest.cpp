// The back end against the strict service: what it reads and asks for, what it writes, and how it
// fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "RedfishService.h"
#include "providers/redfish/RedfishProvider.h"

namespace Test {
namespace {

using nlohmann::json;
using Redfish::RedfishProvider;
using SDK::WriteNote;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string kBios = RedfishService::kBios;
const std::string kSettings = RedfishService::kSettings;
const std::string kTurbo = "/BIOS/Advanced/Processor Settings/Power %2F Performance/Turbo Mode";
const std::string kDelay = "/BIOS/Advanced/Devices/USB Configuration/Device Reset Delay";
const std::string kTag = "/BIOS/Advanced/System Information/Asset Tag";
const std::string kModel = "/BIOS/Advanced/System Information/Model";
const std::string kScrub = "/BIOS/Advanced/Memory Settings/Patrol Scrub Interval";
const char* const kRegistry = "/redfish/v1/RegistryStore/bios.json";
const std::string kNic2 = "/BIOS/Advanced/Devices/Ethernet (Nic2)/";
const std::string kInterleave = "/BIOS/Advanced/Memory Settings/Node Interleaving";

class ProviderTest : public RedfishTest {
 protected:
  void Open(const Redfish::Endpoint& endpoint, const std::string& system = "",
            const std::string& password = RedfishService::kPassword) {
    provider.reset();
    provider = std::make_unique<RedfishProvider>(
        endpoint, Redfish::Credentials{RedfishService::kUser, password}, system);
  }
  void Open() {
    Redfish::Endpoint endpoint = service->Endpoint();
    endpoint.limits = {std::chrono::seconds(2), std::chrono::seconds(1), longest};
    endpoint.checkpoint = [this] { checkpoint(); };
    Open(endpoint);
  }
  /// A service as it starts, but for these knobs, and a provider that is logged in to it.
  void Renew(const std::vector<std::string>& knobs = {}) {
    provider.reset();
    service->Renew();
    service->Knobs(knobs);
    Open();
  }

  /// The value at a path; "(absent)" where there is none.
  std::string Value(const std::string& path) {
    NodeMap nodes;
    try {
      provider->Read(path, nodes);
    } catch (const ResultStatus& failure) {
      if (failure.getval() != ErrorManager::NoSuchNode) throw;
    }
    const auto node = nodes.find(path);
    return node == nodes.end() ? "(absent)" : node->second.values.at(0);
  }

  /// How many changes were sent since the last time.
  long Patches() {
    return std::ranges::count_if(
        service->TakeLines(), [](const std::string& line) { return line.starts_with("PATCH "); });
  }

  int Write(const SDK::SettingMap& settings) {
    return CodeOf([&] { provider->WriteAuthorised(settings, ""); });
  }

  /// The notes of the last write, as "path: fate reason".
  std::vector<std::string> Notes() {
    constexpr std::array<const char*, 4> kFates = {"pending", "refused", "ignored", "skipped"};
    std::vector<std::string> lines;
    for (const WriteNote& note : provider->TakeWriteNotes()) {
      lines.push_back(note.path.substr(note.path.rfind('/') + 1) + ": " +
                      kFates.at(static_cast<std::size_t>(note.fate)) +
                      (note.reason.empty() ? "" : " " + note.reason));
    }
    return lines;
  }

  /// Adds dependencies to the registry: JSON, "Dependency" of each.
  void AddRules(const char* added) {
    json rules = service->State("tree")[kRegistry]["RegistryEntries"]["Dependencies"];
    for (const json& rule : json::parse(added)) rules.push_back({{"Dependency", rule}});
    service->Edit(kRegistry, {{"RegistryEntries", {{"Dependencies", rules}}}});
  }
  /// What a write would meet, as "key: kind reason".
  std::vector<std::string> Foreseen(const SDK::SettingMap& settings) {
    constexpr std::array<const char*, 7> kKinds = {"",       "",      "",     "impossible",
                                                   "locked", "later", "unfit"};
    std::vector<std::string> lines;
    for (const SDK::WriteForesight& foreseen : provider->Foresee(settings)) {
      lines.push_back(foreseen.path.substr(foreseen.path.rfind('/') + 1) + ": " +
                      kKinds.at(static_cast<std::size_t>(foreseen.kind)) + " " + foreseen.text);
    }
    return lines;
  }

  std::function<void()> checkpoint = [] {};
  std::unique_ptr<RedfishProvider> provider;
  std::chrono::milliseconds longest{5000};  ///< that an exchange may take
};

TEST_F(ProviderTest, ASaveFetchesEachResourceOnceAndEndsItsSession) {
  Open();
  NodeMap nodes;
  for (int time = 0; time < 2; ++time) {
    for (const char* path : {"/SMBIOS/Type0/BIOSVersion", "/BMC/INFO/VERSION", "/BIOS",
                             "/BIOS/BootOrder", "/BIOS/UEFI231Aware"}) {
      provider->Read(path, nodes);
    }
  }
  EXPECT_EQ(Value("/BIOS/PlatformID"), "(absent)");
  provider.reset();
  const std::string options = "GET /redfish/v1/Systems/1/BootOptions";
  EXPECT_THAT(
      service->TakeLines(),
      ElementsAre("GET /redfish/v1/", "POST /redfish/v1/SessionService/Sessions",
                  "GET /redfish/v1/Systems", "GET /redfish/v1/Systems/1",
                  "GET /redfish/v1/Managers/BMC", "GET " + kBios, "GET /redfish/v1/Registries",
                  "GET /redfish/v1/Registries/BiosAttributeRegistry.v1_0_0",
                  "GET /redfish/v1/RegistryStore/bios.json", options, options + "/Boot0001",
                  options + "/Boot0003", options + "/Boot0004", options + "/Boot000A",
                  "DELETE /redfish/v1/SessionService/Sessions/1"));
  EXPECT_EQ(service->State("sessions"), 0);
}

TEST_F(ProviderTest, FetchesOnlyWhatAReadNeeds) {
  service->Edit("/redfish/v1",
                {{"ProtocolFeaturesSupported", {{"ExpandQuery", {{"NoLinks", true}}}}}});
  Open();
  service->TakeLines();
  EXPECT_EQ(Value("/BIOS/UEFI231Aware"), "True");
  EXPECT_THAT(service->TakeLines(), IsEmpty());
  EXPECT_EQ(Value("/SMBIOS/Type0/BIOSVersion"), "1.22.333");
  EXPECT_THAT(service->TakeLines(),
              ElementsAre("GET /redfish/v1/Systems", "GET /redfish/v1/Systems/1"));
  EXPECT_EQ(Value("/BIOS/BootOrder[4]"), "UEFI Shell / Diagnostics");
  EXPECT_THAT(service->TakeLines(), ElementsAre("GET /redfish/v1/Systems/1/BootOptions?$expand=."));
  EXPECT_EQ(Value(kTurbo), "On");
  service->TakeLines();
  service->Edit(kBios, {{"Attributes", {{"ProcTurbo", "Off"}}}});
  provider->Refresh();
  EXPECT_EQ(Value(kTurbo), "Off");
  EXPECT_THAT(service->TakeLines(), ElementsAre("GET /redfish/v1/Systems/1", "GET " + kBios));
}

TEST_F(ProviderTest, OddServicesAreRead) {
  struct Quirk {
    const char* knob;
    const char* resource;  ///< that is odd; null for none
    const char* patch;
    std::string path;  ///< where Turbo Mode is
  };
  const std::string flat = "/BIOS/Advanced/ProcTurbo";
  const Quirk quirks[] = {
      {"rename=/Systems/1=/systems/Node-A", nullptr, "", kTurbo},
      {"session-requests=3", nullptr, "", kTurbo},
      {"no-location", nullptr, "", kTurbo},
      {"status=501 GET /redfish/v1/Systems/1/BootOptions?$expand=.", "/redfish/v1",
       R"({"ProtocolFeaturesSupported": {"ExpandQuery": {"NoLinks": true}}})", kTurbo},
      {"slow=1", "/redfish/v1", R"({"Registries": null})", flat},
      {"slow=1", "/redfish/v1", R"({"SessionService": null, "Links": null})", kTurbo},
      {"slow=1", RedfishService::kBios, R"({"AttributeRegistry": "Other"})", kTurbo},
  };
  for (const Quirk& quirk : quirks) {
    SCOPED_TRACE(std::string(quirk.knob) + " " + quirk.patch);
    service->Renew();
    service->Knobs({quirk.knob});
    if (quirk.resource != nullptr) service->Edit(quirk.resource, json::parse(quirk.patch));
    Open();
    EXPECT_EQ(Value(quirk.path), "On");
    EXPECT_EQ(Value("/BIOS/BootOrder[4]"), "UEFI Shell / Diagnostics");
    provider.reset();
    EXPECT_EQ(service->State("sessions"), 0);
  }
}

TEST_F(ProviderTest, OfSeveralSystemsOneMustBeNamed) {
  service->Edit("/redfish/v1/Systems/Second", {{"BiosVersion", "0.1"}});
  service->Edit("/redfish/v1/Systems", json::parse(R"({"Members": [
      {"@odata.id": "/redfish/v1/Systems/1"}, {"@odata.id": "/redfish/v1/Systems/Second"}]})"));
  Open();
  EXPECT_EQ(CodeOf([&] { Value("/BIOS"); }), ErrorManager::BadAnswer);
  Open(service->Endpoint(), "1");
  EXPECT_EQ(Value(kTurbo), "On");
}

TEST_F(ProviderTest, WritesEachTypeAsItIsAndSaysThatItWaits) {
  Open();
  ASSERT_EQ(Value(kTurbo), "On");
  service->TakeLines();
  EXPECT_EQ(Write({{kTurbo, "Off"},
                   {kDelay, "5"},
                   {kTag, "7"},
                   {kInterleave, "true"},
                   {kScrub, "24"},
                   {"/BIOS/Advanced/Nothing", ""}}),
            0);
  EXPECT_EQ(service->Pending(), json({{"ProcTurbo", "Off"},
                                      {"UsbDelaySeconds", 5},
                                      {"AssetTag", "7"},
                                      {"MemNodeInterleave", true}}));
  EXPECT_THAT(Notes(), ElementsAre("Asset Tag: pending", "Node Interleaving: pending",
                                   "Turbo Mode: pending", "Device Reset Delay: pending"));
  const std::vector<RedfishRequest> requests = service->TakeRequests();
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_EQ(requests[1].line, "PATCH " + kSettings);
  EXPECT_TRUE(requests[1].ifMatch);
  EXPECT_EQ(Value(kTurbo), "On");
  service->Restart();
  Open();
  EXPECT_EQ(Value(kTurbo), "Off");
  EXPECT_EQ(Value(kInterleave), "true");
}

TEST_F(ProviderTest, ARefusalDoesNotStopTheOthers) {
  const std::vector<std::string> rows[] = {
      {"refuse=UsbDelaySeconds", "settings-all"},
      {"refuse=UsbDelaySeconds", "first-refusal", "etag=required"},
      {"refuse=UsbDelaySeconds", "naming=args", "etag=off"},
      {"refuse=UsbDelaySeconds", "naming=id"},
      {"refuse=UsbDelaySeconds", "naming=related"},
      {"refuse-unnamed=UsbDelaySeconds"},
  };
  for (const std::vector<std::string>& knobs : rows) {
    SCOPED_TRACE(::testing::PrintToString(knobs));
    Renew(knobs);
    if (knobs.back() == "naming=related") {
      service->Edit(kBios, {{"@Redfish.Settings", {{"SupportedApplyTimes", nullptr}}}});
    }
    EXPECT_EQ(Write({{kTurbo, "Off"},
                     {kDelay, "5"},
                     {kTag, "new"},
                     {kScrub, "999"},
                     {kInterleave, "true"},
                     {kModel, "Other"}}),
              ErrorManager::WritesRefused);
    EXPECT_EQ(service->Pending(),
              json({{"ProcTurbo", "Off"}, {"AssetTag", "new"}, {"MemNodeInterleave", true}}));
    const std::vector<std::string> notes = Notes();
    EXPECT_THAT(notes,
                ::testing::IsSupersetOf({"Model: skipped it is read-only", "Turbo Mode: pending",
                                         "Asset Tag: pending", "Node Interleaving: pending"}));
    EXPECT_THAT(notes, ::testing::Contains(HasSubstr("Device Reset Delay: refused The ")));
    EXPECT_THAT(notes, ::testing::Contains(HasSubstr("Patrol Scrub Interval: refused ")));
    EXPECT_EQ(notes.size(), 6U);
  }
}

TEST_F(ProviderTest, APathThatNamesNothingStopsTheWholeBatch) {
  Open();
  EXPECT_EQ(Write({{kTurbo, "Off"}, {"/BIOS/Advanced/Nothing", "1"}}), ErrorManager::NoSuchNode);
  EXPECT_EQ(Write({{kTurbo, "Off"}, {"/BIOS/UEFI231Aware", "False"}}), ErrorManager::ReadOnlyNode);
  EXPECT_THAT(service->Pending(), IsEmpty());
}

TEST_F(ProviderTest, WithoutASettingsObjectTheBiosIsReadOnly) {
  service->Edit(kBios, {{"@Redfish.Settings", nullptr}});
  service->Edit(kSettings, {{"Attributes", nullptr}});
  Open();
  EXPECT_EQ(Write({{kTurbo, "Off"}}), ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), ElementsAre("Turbo Mode: refused this server takes no BIOS settings"));
}

TEST_F(ProviderTest, ReordersTheBootOptionsByName) {
  Open();
  const std::string path = "/BIOS/BootOrder";
  ASSERT_EQ(Value(path + "[2]"), "UEFI Network: IPv4 (Boot0003)");
  const SDK::SettingMap swap = {{path + "[1]", "UEFI Network: IPv4 (Boot0003)"},
                                {path + "[2]", "UEFI Disk: RAID Volume 1"}};
  EXPECT_EQ(Write(swap), 0);
  EXPECT_THAT(service->BootOrder(), ElementsAre("Boot0003", "Boot0001", "Boot0004", "Boot000A"));
  EXPECT_EQ(Value(path + "[1]"), "UEFI Network: IPv4 (Boot0003)");
  EXPECT_EQ(Write({{path + "[1]", "Floppy"}}), ErrorManager::ValueRefused);
  EXPECT_EQ(Write({{path + "[1]", "UEFI Shell / Diagnostics"}}), ErrorManager::ValueRefused);

  service->Renew();
  GiveTheSystemSettings();
  Open();
  static_cast<void>(Value(path + "[1]"));
  EXPECT_EQ(Write(swap), 0);
  EXPECT_THAT(Notes(), ElementsAre("BootOrder[1]: pending"));
  service->Restart();
  EXPECT_EQ(service->BootOrder().at(0), "Boot0003");
}

TEST_F(ProviderTest, TheWayBackLeadsBackWhileChangesWait) {
  const std::string first = "/BIOS/BootOrder[1]";
  const SDK::SettingMap back = {{kTurbo, "On"},
                                {first, "UEFI Disk: RAID Volume 1"},
                                {"/BIOS/BootOrder[2]", "UEFI Network: IPv4 (Boot0003)"}};
  const SDK::SettingMap there = {{kTurbo, "Off"},
                                 {first, "UEFI Network: IPv4 (Boot0003)"},
                                 {"/BIOS/BootOrder[2]", "UEFI Disk: RAID Volume 1"}};
  for (const std::string way : {"write", "clear", "delete"}) {
    SCOPED_TRACE(way);
    service->Renew();
    GiveTheSystemSettings();
    if (way == "delete") service->Knobs({"delete"});
    Open();
    ASSERT_EQ(Write(there), 0);
    EXPECT_THAT(Notes(), ElementsAre("BootOrder[1]: pending", "Turbo Mode: pending"));
    EXPECT_EQ(provider->BootMessages().size(), 3U);
    EXPECT_EQ(Value(kTurbo), "On");
    provider->LookAhead(true);
    EXPECT_EQ(Value(kTurbo), "Off");
    EXPECT_EQ(Value(first), "UEFI Network: IPv4 (Boot0003)");
    service->TakeLines();
    if (way == "write") {
      EXPECT_EQ(Write(back), 0);
    } else {
      provider->ClearWaiting();
    }
    EXPECT_EQ(Patches(), way == "delete" ? 0 : 2);
    EXPECT_EQ(Value(kTurbo), "On");
    EXPECT_THAT(provider->BootMessages(), IsEmpty());
    service->Restart();
    EXPECT_EQ(service->Attributes().at("ProcTurbo"), "On");
    EXPECT_EQ(service->BootOrder().at(0), "Boot0001");
  }
}

TEST_F(ProviderTest, SendsOneSetForEachBootAndStopsWhereMoreIsInVain) {
  Renew({"jobs"});
  EXPECT_EQ(Write({{kTurbo, "Off"}, {kDelay, "5"}, {kScrub, "999"}}), ErrorManager::WritesRefused);
  EXPECT_EQ(Patches(), 1);
  EXPECT_EQ(service->Pending(), json({{"ProcTurbo", "Off"}, {"UsbDelaySeconds", 5}}));

  // Taken halves stay, and the answer to the next tells why the rest cannot be.
  Renew({"jobs", "refuse-unnamed=UsbDelaySeconds"});
  EXPECT_EQ(Write({{kTurbo, "Off"}, {kDelay, "5"}, {kTag, "x"}, {kInterleave, "true"}}),
            ErrorManager::WritesRefused);
  EXPECT_EQ(Patches(), 3);
  EXPECT_EQ(service->Pending(), json({{"AssetTag", "x"}, {"MemNodeInterleave", true}}));
  EXPECT_THAT(Notes(), ::testing::Contains(HasSubstr("already committed")));

  // One object takes both at once.
  Renew({"jobs"});
  GiveTheSystemSettings(kSettings);
  EXPECT_EQ(Write({{kTurbo, "Off"},
                   {"/BIOS/BootOrder[1]", "UEFI Network: IPv4 (Boot0003)"},
                   {"/BIOS/BootOrder[2]", "UEFI Disk: RAID Volume 1"}}),
            0);
  EXPECT_EQ(Patches(), 1);
  EXPECT_THAT(Notes(), ElementsAre("Turbo Mode: pending", "BootOrder[1]: pending"));

  service->Renew();
  json many;
  for (int number = 100; number < 360; ++number) many["Oem" + std::to_string(number)] = 0;
  service->Edit(kBios, {{"Attributes", many}});
  service->Knobs({"refuse-all"});
  Open();
  SDK::SettingMap settings;
  for (const auto& [name, value] : many.items()) settings["/BIOS/Advanced/" + name] = "1";
  ASSERT_EQ(Value(kTurbo), "On");
  checkpoint = [] { throw std::runtime_error("interrupted"); };
  EXPECT_THROW(Write(settings), std::runtime_error);
  EXPECT_EQ(Patches(), 0);
  checkpoint = [] {};
  EXPECT_EQ(Write(settings), ErrorManager::WritesRefused);
  EXPECT_LE(Patches(), 20);
  EXPECT_EQ(Notes().size(), 260U);
}

TEST_F(ProviderTest, WhatOthersForbidIsNotSent) {
  AddRules(R"([
      {"MapFrom": [{"MapFromAttribute": "ProcTurbo", "MapFromCondition": "NEQ", "MapFromValue": "On"}],
       "MapToAttribute": "UsbDelaySeconds", "MapToProperty": "UpperBound", "MapToValue": 4},
      {"MapFrom": [{"MapFromAttribute": "MemNodeInterleave", "MapFromValue": true}],
       "MapToAttribute": "MemPatrolScrubHours", "MapToProperty": "UpperBound", "MapToValue": 48},
      {"MapFrom": [{"MapFromAttribute": "UsbDelaySeconds", "MapFromValue": 5}],
       "MapToAttribute": "AssetTag", "MapToProperty": "Hidden", "MapToValue": true},
      {"MapFrom": [{"MapFromAttribute": "MemNodeInterleave", "MapFromValue": true}],
       "MapToAttribute": "ModelName", "MapToProperty": "ReadOnly", "MapToValue": false},
      {"MapFrom": [{"MapFromAttribute": 7, "MapFromValue": {}}], "MapToAttribute": null}])");
  Open();
  const std::string initiator = kNic2 + "iSCSI/Initiator Name";
  const std::string grey =
      "greyed out while BIOS::Advanced::Devices::Ethernet (Nic2)::Network Boot is None";
  const SDK::SettingMap wrong = {{initiator, "iqn.x"}, {kTurbo, "Off"}, {kDelay, "5"},
                                 {kTag, "x"},          {kScrub, "48"},  {kModel, "Other"},
                                 {kInterleave, "yes"}};
  const std::vector<std::string> kept = {
      "Initiator Name: locked " + grey,
      ("Device Reset Delay: impossible it must be a whole number, -1 to 4 while BIOS::Advanced::"
       "Processor Settings::Power %2F Performance::Turbo Mode is not On"),
      // The delay keeps its value, so the tag is not hidden.
      "Patrol Scrub Interval: impossible it must be a whole number, 1 to 24",
      "Node Interleaving: impossible it is not among the options", "Model: locked read-only"};
  EXPECT_THAT(Foreseen(wrong), ::testing::UnorderedElementsAreArray(kept));
  EXPECT_EQ(Patches(), 0);
  EXPECT_EQ(Write(wrong), ErrorManager::WritesRefused);
  EXPECT_EQ(service->Pending(), json({{"ProcTurbo", "Off"}, {"AssetTag", "x"}}));

  EXPECT_EQ(Write({{initiator, "iqn.x"}, {kNic2 + "Network Boot", "Pxe"}}),
            ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), ::testing::Contains(HasSubstr("None now; restart the server and restore")));
  // What waits will hold too.
  EXPECT_THAT(Foreseen({{initiator, "iqn.x"}}),
              ElementsAre("Initiator Name: later " + grey + " now"));
  service->Restart();
  Open();
  EXPECT_EQ(Write({{initiator, "iqn.x"}}), 0);
}

TEST_F(ProviderTest, FollowsTasksAndWaitsForABusyService) {
  Renew({"task=3", "busy=2", "limited=2"});
  EXPECT_EQ(Write({{kTurbo, "Off"}}), 0);
  EXPECT_THAT(Notes(), ElementsAre("Turbo Mode: pending"));
  EXPECT_EQ(service->Pending(), json({{"ProcTurbo", "Off"}}));
  Renew({"task=2", "task-fails"});
  EXPECT_EQ(Write({{kTurbo, "Off"}}), ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), ElementsAre("Turbo Mode: refused The request is refused"));
}

TEST_F(ProviderTest, ASessionThatIsRefusedIsNoEnd) {
  Renew({"status=401 POST /redfish/v1/SessionService/Sessions"});
  EXPECT_EQ(Value(kTurbo), "On");
  EXPECT_EQ(service->TakeRequests().back().authentication, "basic");

  Renew({"status=401 GET " + kBios});  // not for this user: both sessions end
  EXPECT_EQ(CodeOf([&] { Value(kTurbo); }), ErrorManager::NotPermitted);
  provider.reset();
  EXPECT_EQ(service->State("sessions"), 0);
}

TEST_F(ProviderTest, ARegistryThatIsNamedAndNotGivenIsAFault) {
  service->Edit("/redfish/v1/RegistryStore/bios.json", nullptr);
  Open();
  EXPECT_EQ(Value("/BIOS/Advanced/ProcTurbo"), "On");
  EXPECT_THAT(Foreseen({}), ElementsAre(HasSubstr("Advanced: unfit the server does not give")));
  EXPECT_EQ(Write({}), ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), ElementsAre(HasSubstr("Advanced: refused the server does not give its "
                                             "attribute registry BiosAttributeRegistry.v1_0_0")));
}

TEST_F(ProviderTest, RestartsAndWaitsUntilTheChangesAreThere) {
  const auto restart = [&](bool mayForce, int seconds) {
    return CodeOf([&] { provider->Restart(mayForce, std::chrono::seconds(seconds)); });
  };
  Renew({"boot-requests=3"});
  ASSERT_EQ(Write({{kTurbo, "Off"}}), 0);
  EXPECT_EQ(restart(false, 60), 0);
  EXPECT_EQ(Value(kTurbo), "Off");
  EXPECT_EQ(restart(true, 60), 0);  // nothing waits, and no force is needed
  EXPECT_EQ(service->State("restarts"), 2);

  Renew({"ignore-graceful"});
  ASSERT_EQ(Write({{kTurbo, "Off"}}), 0);
  EXPECT_EQ(restart(false, 1), ErrorManager::WriteFailed);
  EXPECT_EQ(service->State("restarts"), 0);
  EXPECT_EQ(restart(true, 3), 0);
  EXPECT_EQ(Value(kTurbo), "Off");
  int forced = 0;
  for (const RedfishRequest& request : service->TakeRequests()) {
    forced += request.body == json({{"ResetType", "ForceRestart"}}) ? 1 : 0;
  }
  EXPECT_EQ(forced, 1);
  service->Edit(RedfishService::kSystem, {{"Actions", nullptr}});
  Open();
  EXPECT_EQ(restart(true, 60), ErrorManager::WriteFailed);
}

TEST_F(ProviderTest, ABiosPasswordCannotBeChecked) {
  Open();
  const std::string path = "/BIOS/AdminPw";
  for (const std::string password : {"", "a"}) {
    const SDK::SettingMap group = {{"ADMIN_PW", password}, {"SETVALUE", password}};
    const SDK::SettingMap twice = {{path, password + "-" + password}};
    const int code = password.empty() ? 0 : int{ErrorManager::PasswordRefused};
    EXPECT_EQ(CodeOf([&] { provider->Write(twice, true, false); }), code);
    EXPECT_EQ(CodeOf([&] { provider->WriteGroup(path, group); }), code);
    EXPECT_EQ(CodeOf([&] { provider->WriteAuthorised({}, password); }), code);
  }
}

TEST_F(ProviderTest, AFailureEndsAReadAndAWriteAndTheNextStartsAnew) {
  const std::pair<const char*, int> rows[] = {
      {"stall=", ErrorManager::Unreachable},    {"stall-body=", ErrorManager::Unreachable},
      {"close=", ErrorManager::Unreachable},    {"garbage=", ErrorManager::BadAnswer},
      {"flood=", ErrorManager::BadAnswer},      {"status=500 ", ErrorManager::BadAnswer},
      {"status=302 ", ErrorManager::BadAnswer},
  };
  longest = std::chrono::milliseconds(800);
  for (const auto& [knob, code] : rows) {
    SCOPED_TRACE(knob);
    Renew({std::string(knob) + "GET " + kBios});
    EXPECT_EQ(CodeOf([&] { Value("/BIOS"); }), code);
    const std::string name = std::string(knob).substr(0, std::string(knob).find('='));
    service->Unset(name);
    EXPECT_EQ(Value(kTurbo), "On");

    service->Knobs({std::string(knob) + "GET " + kSettings});
    EXPECT_EQ(Write({{kTurbo, "Off"}}), code);
    EXPECT_THAT(service->Pending(), IsEmpty());
    service->Unset(name);
  }
}

TEST_F(ProviderTest, TrustsWhomItIsToldToAndNobodyElse) {
  RedfishService stranger("self");
  const auto codeWith = [&](const Redfish::Trust& trust) {
    Redfish::Endpoint endpoint = stranger.Endpoint();
    endpoint.trust = trust;
    return CodeOf([&] { Open(endpoint); });
  };
  const std::string wrongPin = "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";
  EXPECT_EQ(codeWith({}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({stranger.CaCert(), "", false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({PathOf("no-such.pem"), "", false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({"", wrongPin, false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({"", wrongPin, true}), ErrorManager::NotTrusted);
  EXPECT_THAT(stranger.TakeLines(), IsEmpty());
  EXPECT_EQ(codeWith({"", stranger.Pin(), false}), 0);
  EXPECT_EQ(codeWith({"", "", true}), 0);
  provider.reset();
}

TEST_F(ProviderTest, AWrongPasswordIsNotPermittedAndNotRepeated) {
  EXPECT_EQ(CodeOf([&] { Open(service->Endpoint(), "", "wrong"); }), ErrorManager::NotPermitted);
  EXPECT_EQ(service->TakeLines().size(), 3U);  // once for a session, once with a request
}

}  // namespace
}  // namespace Test
