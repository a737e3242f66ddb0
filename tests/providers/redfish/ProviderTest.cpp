// The back end against the strict service: what it reads and asks for, what it writes, and how it
// fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>

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
using ::testing::Not;

const std::string kBios = "/redfish/v1/Systems/1/Bios";
const std::string kSettings = kBios + "/Settings";
const std::string kTurbo = "/BIOS/Advanced/Processor Settings/Power %2F Performance/Turbo Mode";
const std::string kDelay = "/BIOS/Advanced/Devices/USB Configuration/Device Reset Delay";
const std::string kTag = "/BIOS/Advanced/System Information/Asset Tag";
const std::string kModel = "/BIOS/Advanced/System Information/Model";
const std::string kScrub = "/BIOS/Advanced/Memory Settings/Patrol Scrub Interval";
const std::string kInterleave = "/BIOS/Advanced/Memory Settings/Node Interleaving";

class ProviderTest : public RedfishTest {
 protected:
  [[nodiscard]] Redfish::Endpoint Endpoint() const {
    Redfish::Endpoint endpoint;
    endpoint.host = "127.0.0.1";
    endpoint.port = service->Port();
    endpoint.trust.caFile = service->CaCert();
    endpoint.limits = {std::chrono::seconds(2), std::chrono::seconds(2), std::chrono::seconds(5)};
    return endpoint;
  }
  void Open(const Redfish::Endpoint& endpoint, const std::string& system = "",
            const std::string& password = RedfishService::kPassword) {
    provider.reset();
    provider = std::make_unique<RedfishProvider>(
        endpoint, Redfish::Credentials{RedfishService::kUser, password}, system);
  }
  void Open() { Open(Endpoint()); }

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

  /// The requests since the last time, as "METHOD path".
  std::vector<std::string> Requests() {
    std::vector<std::string> lines;
    for (const RedfishRequest& request : service->Requests()) {
      lines.push_back(request.method + " " + request.path +
                      (request.query.empty() ? "" : "?" + request.query));
    }
    service->ResetCounts();
    return lines;
  }

  int Write(const SDK::SettingMap& settings) {
    return CodeOf([&] { provider->WriteAuthorised(settings, ""); });
  }

  /// The notes of the last write, as "path: fate reason".
  std::vector<std::string> Notes() {
    constexpr std::array<const char*, 3> kFates = {"pending", "refused", "ignored"};
    std::vector<std::string> lines;
    for (const WriteNote& note : provider->TakeWriteNotes()) {
      lines.push_back(note.path.substr(note.path.rfind('/') + 1) + ": " +
                      kFates.at(static_cast<std::size_t>(note.fate)) +
                      (note.reason.empty() ? "" : " " + note.reason));
    }
    return lines;
  }

  std::unique_ptr<RedfishProvider> provider;
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
      Requests(),
      ElementsAre("GET /redfish/v1/", "POST /redfish/v1/SessionService/Sessions",
                  "GET /redfish/v1/Systems", "GET /redfish/v1/Systems/1",
                  "GET /redfish/v1/Managers/BMC", "GET " + kBios, "GET /redfish/v1/Registries",
                  "GET /redfish/v1/Registries/BiosAttributeRegistry.v1_0_0",
                  "GET /redfish/v1/RegistryStore/bios.json", options, options + "/Boot0001",
                  options + "/Boot0003", options + "/Boot0004", options + "/Boot000A",
                  "DELETE /redfish/v1/SessionService/Sessions/1"));
  EXPECT_EQ(service->OpenSessions(), 0);
}

TEST_F(ProviderTest, FetchesOnlyWhatAReadNeeds) {
  Restart({"expand"});
  Open();
  service->ResetCounts();
  EXPECT_EQ(Value("/BIOS/UEFI231Aware"), "True");
  EXPECT_THAT(Requests(), IsEmpty());
  EXPECT_EQ(Value("/SMBIOS/Type0/BIOSVersion"), "1.22.333");
  EXPECT_THAT(Requests(), ElementsAre("GET /redfish/v1/Systems", "GET /redfish/v1/Systems/1"));
  EXPECT_EQ(Value("/BIOS/BootOrder[4]"), "UEFI Shell / Diagnostics");
  EXPECT_THAT(Requests(), ElementsAre("GET /redfish/v1/Systems/1/BootOptions?$expand=."));
}

struct Quirk {
  const char* name;
  std::string knob;
  std::string path;
  std::string value;
};
void PrintTo(const Quirk& quirk, std::ostream* out) {
  *out << quirk.name;
}

class QuirkTest : public ProviderTest, public ::testing::WithParamInterface<Quirk> {};

TEST_P(QuirkTest, DoesNotStopARead) {
  Restart({GetParam().knob});
  Open(Endpoint(), GetParam().knob == "second-system" ? "1" : "");
  NodeMap nodes;
  provider->Read("/BIOS", nodes);
  ASSERT_TRUE(nodes.contains(GetParam().path));
  EXPECT_EQ(nodes.at(GetParam().path).values.at(0), GetParam().value);
  EXPECT_TRUE(nodes.contains("/BIOS/BootOrder[4]"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, QuirkTest,
    ::testing::Values(Quirk{"MenuPathOfTheParent", "menu-path=parent", kTurbo, "On"},
                      Quirk{"NoMenuPath", "no-menu-path", "/BIOS/Advanced/Turbo Mode", "On"},
                      Quirk{"NoRegistry", "no-registry", "/BIOS/Advanced/ProcTurbo", "On"},
                      Quirk{"OtherRegistryId", "registry-id", kTurbo, "On"},
                      Quirk{"ListedTwice", "duplicate-attribute", kTurbo, "On"},
                      Quirk{"Unlisted", "unlisted-attribute", "/BIOS/Advanced/OemBootCount", "17"},
                      Quirk{"ValuesForValue", "values-spelling", kTurbo, "On"},
                      Quirk{"NoTexts", "no-display-texts",
                            "/BIOS/Advanced/Processor/ProcPower/ProcTurbo", "On"},
                      Quirk{"ValueNotListed", "current-not-listed", kTurbo, "Automatic"},
                      Quirk{"BrokenDependencies", "broken-dependencies", kTurbo, "On"},
                      Quirk{"OtherLinks", "other-links", kTurbo, "On"},
                      Quirk{"SecondSystem", "second-system", kTurbo, "On"},
                      Quirk{"Compressed", "gzip=always", kTurbo, "On"},
                      Quirk{"NoSessions", "no-sessions", kTurbo, "On"},
                      Quirk{"ShortSessions", "session-requests=3", kTurbo, "On"}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ProviderTest, OfSeveralSystemsOneMustBeNamed) {
  Restart({"second-system"});
  Open();
  EXPECT_EQ(CodeOf([&] { Value("/BIOS"); }), ErrorManager::BadAnswer);
}

TEST_F(ProviderTest, WritesEachTypeAsItIsAndSaysThatItWaits) {
  Open();
  ASSERT_EQ(Value(kTurbo), "On");
  service->ResetCounts();
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
  const std::vector<RedfishRequest> requests = service->Requests();
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_EQ(requests[1].method, "PATCH");
  EXPECT_TRUE(requests[1].ifMatch);
  EXPECT_EQ(Value(kTurbo), "On");
  service->Reset();
  Open();
  EXPECT_EQ(Value(kTurbo), "Off");
  EXPECT_EQ(Value(kInterleave), "true");
}

struct Refusal {
  const char* name;
  std::vector<std::string> knobs;
};
void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << refusal.name;
}

class RefusalTest : public ProviderTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, DoesNotStopTheOthers) {
  Restart(GetParam().knobs);
  Open();
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
              ::testing::IsSupersetOf({"Model: refused it is read-only", "Turbo Mode: pending",
                                       "Asset Tag: pending", "Node Interleaving: pending"}));
  EXPECT_THAT(notes, ::testing::Contains(HasSubstr("Device Reset Delay: refused ")));
  EXPECT_THAT(notes, ::testing::Contains(HasSubstr("Patrol Scrub Interval: refused ")));
  EXPECT_EQ(notes.size(), 6U);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefusalTest,
    ::testing::Values(Refusal{"AllNamed", {"refuse=UsbDelaySeconds"}},
                      Refusal{"OnlyTheFirstNamed", {"refuse=UsbDelaySeconds", "first-refusal"}},
                      Refusal{"NamedInArguments", {"refuse=UsbDelaySeconds", "naming=args"}},
                      Refusal{"NamedAsRelated", {"refuse=UsbDelaySeconds", "naming=related"}},
                      Refusal{"NotNamed", {"refuse-unnamed=UsbDelaySeconds"}},
                      Refusal{"EtagRequired", {"refuse=UsbDelaySeconds", "etag=required"}},
                      Refusal{"NoEtag", {"refuse=UsbDelaySeconds", "etag=off"}},
                      Refusal{"NoApplyTimes", {"refuse=UsbDelaySeconds", "no-apply-times"}},
                      Refusal{"AllShown", {"refuse=UsbDelaySeconds", "settings-all"}}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ProviderTest, AValueOfTheWrongKindIsNotSent) {
  Open();
  EXPECT_EQ(Write({{kDelay, "soon"}, {kInterleave, "yes"}}), ErrorManager::WritesRefused);
  EXPECT_THAT(Notes(), ElementsAre("Device Reset Delay: refused it must be a whole number",
                                   "Node Interleaving: refused it must be true or false"));
  for (const RedfishRequest& request : service->Requests()) EXPECT_NE(request.method, "PATCH");
}

TEST_F(ProviderTest, APathThatNamesNothingStopsTheWholeBatch) {
  Open();
  EXPECT_EQ(Write({{kTurbo, "Off"}, {"/BIOS/Advanced/Nothing", "1"}}), ErrorManager::NoSuchNode);
  EXPECT_EQ(Write({{kTurbo, "Off"}, {"/BIOS/UEFI231Aware", "False"}}), ErrorManager::ReadOnlyNode);
  EXPECT_THAT(service->Pending(), IsEmpty());
}

TEST_F(ProviderTest, WithoutASettingsObjectTheBiosIsReadOnly) {
  Restart({"no-settings"});
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

  Restart({"system-settings"});
  Open();
  static_cast<void>(Value(path + "[1]"));
  EXPECT_EQ(Write(swap), 0);
  EXPECT_THAT(Notes(), ElementsAre("BootOrder[1]: pending"));
  service->Reset();
  EXPECT_EQ(service->BootOrder().at(0), "Boot0003");
}

TEST_F(ProviderTest, ABiosPasswordCannotBeChecked) {
  Open();
  const std::string path = "/BIOS/AdminPw";
  EXPECT_EQ(CodeOf([&] { provider->Write({{path, "-"}}, true, false); }), 0);
  EXPECT_EQ(CodeOf([&] { provider->WriteGroup(path, {{"ADMIN_PW", ""}, {"SETVALUE", ""}}); }), 0);
  EXPECT_EQ(CodeOf([&] {
              provider->Write({{path, "a-a"}}, true, false);
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(CodeOf([&] {
              provider->WriteGroup(path, {{"ADMIN_PW", "a"}, {"SETVALUE", "a"}});
            }),
            ErrorManager::PasswordRefused);
  EXPECT_EQ(CodeOf([&] {
              provider->WriteAuthorised({{kTurbo, "Off"}}, "a");
            }),
            ErrorManager::PasswordRefused);
  EXPECT_THAT(service->Pending(), IsEmpty());
}

struct Failure {
  const char* name;
  std::string knob;
  int code;
};
void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.name;
}

class FailureTest : public ProviderTest, public ::testing::WithParamInterface<Failure> {};

TEST_P(FailureTest, EndsAReadAndAWriteInTime) {
  Open();
  service->Knob(GetParam().knob, "GET " + kBios);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CodeOf([&] { Value("/BIOS"); }), GetParam().code);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
  service->Unset(GetParam().knob);
  EXPECT_EQ(Value(kTurbo), "On");  // the next read starts anew

  service->Knob(GetParam().knob, "GET " + kSettings);
  EXPECT_EQ(Write({{kTurbo, "Off"}}), GetParam().code);
  EXPECT_THAT(service->Pending(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FailureTest,
    ::testing::Values(Failure{"Stalls", "stall", ErrorManager::Unreachable},
                      Failure{"StallsInside", "stall-body", ErrorManager::Unreachable},
                      Failure{"Closes", "close", ErrorManager::Unreachable},
                      Failure{"Garbage", "garbage", ErrorManager::BadAnswer},
                      Failure{"Flood", "flood", ErrorManager::BadAnswer},
                      Failure{"Error500", "error", ErrorManager::BadAnswer},
                      Failure{"Redirects", "redirect", ErrorManager::BadAnswer}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ProviderTest, TrustsWhomItIsToldToAndNobodyElse) {
  Restart({}, RedfishService::Certificate::SelfSigned);
  Redfish::Endpoint endpoint = Endpoint();
  const auto codeWith = [&](const Redfish::Trust& trust) {
    endpoint.trust = trust;
    return CodeOf([&] { Open(endpoint); });
  };
  const std::string wrongPin = "sha256//AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=";
  EXPECT_EQ(codeWith({}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({service->CaCert(), "", false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({PathOf("no-such.pem"), "", false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({"", wrongPin, false}), ErrorManager::NotTrusted);
  EXPECT_EQ(codeWith({"", wrongPin, true}), ErrorManager::NotTrusted);
  EXPECT_THAT(service->Requests(), IsEmpty());
  EXPECT_EQ(codeWith({"", service->Pin(), false}), 0);
  EXPECT_EQ(codeWith({"", "", true}), 0);
}

TEST_F(ProviderTest, AWrongPasswordIsNotPermittedAndNotRepeated) {
  try {
    Open(Endpoint(), "", "not-the-password");
    FAIL() << "it was let in";
  } catch (const ResultStatus& failure) {
    EXPECT_EQ(failure.getval(), ErrorManager::NotPermitted);
    EXPECT_THAT(failure.message(), HasSubstr("\"admin\""));
    EXPECT_THAT(failure.message(), Not(HasSubstr("not-the-password")));
  }
  EXPECT_EQ(Requests().size(), 2U);
}

TEST_F(ProviderTest, NobodyAtTheAddressIsUnreachable) {
  Redfish::Endpoint endpoint = Endpoint();
  service.reset();
  EXPECT_EQ(CodeOf([&] { Open(endpoint); }), ErrorManager::Unreachable);
}

TEST_F(ProviderTest, TellsWhatTheServerLeftOfTheLastBootAndWhatWaits) {
  service->Knob("fail-apply", "UsbDelaySeconds");
  Open();
  ASSERT_EQ(Write({{kDelay, "5"}, {kTurbo, "Off"}}), 0);
  EXPECT_EQ(provider->BootMessages().size(), 2U);
  service->Reset();
  Open();
  const std::vector<SDK::BootMessage> messages = provider->BootMessages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].path, kDelay);
  EXPECT_TRUE(messages[0].isFault);
  EXPECT_FALSE(messages[0].time.empty());
}

}  // namespace
}  // namespace Test
