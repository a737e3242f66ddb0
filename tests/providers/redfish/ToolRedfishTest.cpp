// The tool against the strict service, from a save to the boot that makes a restore take effect.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "ToolFixture.h"

namespace Test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class ToolRedfishTest : public ToolOnRedfishTest {
 protected:
  /// "SECTION::KEY=VALUE" for a "KEY=VALUE", in the section that a file has the key in.
  [[nodiscard]] std::string NameIn(const std::string& file, const std::string& setting) const {
    const std::string text = ReadText(PathOf(file));
    const std::string key = setting.substr(0, setting.find('=') + 1);
    const std::size_t open = text.rfind("\n[", text.find("\n" + key)) + 2;
    return text.substr(open, text.find(']', open) - open) + "::" + setting;
  }

  /// Replaces the value of a key of a file, wherever the key stands.
  void Edit(const std::string& file, const std::string& key, const std::string& value) const {
    std::string text = ReadText(PathOf(file));
    const std::size_t start = text.find("\n" + key + "=");
    ASSERT_NE(start, std::string::npos) << key;
    const std::size_t from = start + key.size() + 2;
    text.replace(from, text.find_first_of("\t\n", from) - from, value);
    WriteText(PathOf(file), text);
  }
};

TEST_F(ToolRedfishTest, OnlyWhatWasEditedChangesAtTheNextBoot) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  const json before = service->Attributes();
  Edit("x.ini", "Turbo Mode", "Off");
  Edit("x.ini", "Device Reset Delay", "5");
  Edit("x.ini", "Node Interleaving", "true");
  Edit("x.ini", "Asset Tag", "new; tag");
  Edit("x.ini", "UEFI Network: IPv4 (Boot0003)", "1");
  Edit("x.ini", "UEFI Disk: RAID Volume 1", "2");
  EXPECT_EQ(RunRemote("diff x.ini").exitCode, 1);

  const ToolOutcome restored = RunRemote("restore --yes x.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.err;
  EXPECT_THAT(restored.err,
              HasSubstr(" --bmc-password-file password --cacert " + service->CaCert() + " undo "));
  EXPECT_THAT(restored.out, HasSubstr("Turbo Mode  On → Off  pending until the next boot"));
  EXPECT_THAT(restored.out, HasSubstr("2 applied, 4 pending until the next boot, 0 not applied"));
  EXPECT_EQ(service->Attributes(), before);

  const ToolOutcome early = RunRemote("verify x.ini");
  EXPECT_EQ(early.exitCode, 1);
  EXPECT_THAT(early.out, HasSubstr("Turbo Mode: \"Off\" waits for the boot"));
  service->Restart();
  const ToolOutcome verified = RunRemote("verify x.ini");
  EXPECT_EQ(verified.exitCode, 0) << verified.out;
  json expected = before;
  expected.update(json({{"ProcTurbo", "Off"},
                        {"UsbDelaySeconds", 5},
                        {"MemNodeInterleave", true},
                        {"AssetTag", "new; tag"}}));
  EXPECT_EQ(service->Attributes(), expected);
  EXPECT_THAT(service->BootOrder(), ElementsAre("Boot0003", "Boot0001", "Boot0004", "Boot000A"));
}

TEST_F(ToolRedfishTest, ARefusedSettingIsNamedAndTheOthersAreWritten) {
  service->Knobs({"refuse=ProcTurbo", "fail-apply=MemNodeInterleave"});
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  Edit("x.ini", "Turbo Mode", "Off");
  Edit("x.ini", "Model", "Other");
  Edit("x.ini", "Node Interleaving", "true");
  const ToolOutcome restored = RunRemote("restore --yes x.ini");
  EXPECT_EQ(restored.exitCode, 1) << restored.err;
  EXPECT_THAT(restored.out, HasSubstr("Turbo Mode  On → Off  not applied ("));
  EXPECT_THAT(restored.out, HasSubstr("→ Other  not applied (it is read-only)"));
  EXPECT_EQ(service->Pending(), json({{"MemNodeInterleave", true}}));

  service->Restart();
  const ToolOutcome verified = RunRemote("verify --json x.ini");
  EXPECT_EQ(verified.exitCode, 1);
  const json report = json::parse(verified.out);
  EXPECT_EQ(report.at("schema"), "saverestore-verify/1");
  EXPECT_EQ(report.at("different").size(), 3U);
  ASSERT_EQ(report.at("messages").size(), 1U);
  EXPECT_EQ(report.at("messages")[0].at("setting"),
            "BIOS::Advanced::Memory Settings::Node Interleaving");
  EXPECT_EQ(report.at("messages")[0].at("fault"), true);
  EXPECT_NE(report.at("messages")[0].at("time"), "");
}

TEST_F(ToolRedfishTest, SaysInItsFileWhatASettingTakesAndKeepsSecretsOut) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  const std::string text = ReadText(PathOf("x.ini"));
  EXPECT_THAT(text, HasSubstr("\n[BIOS::Advanced::Processor Settings::Power %2F Performance]\n"));
  EXPECT_THAT(text, HasSubstr("\nTurbo Mode=On\t;Options: Off=Off: On=On; attribute ProcTurbo\n"));
  EXPECT_THAT(text, HasSubstr("\nService Tag=TS-00042\t;Options; read-only; unique to this system; "
                              "attribute ServiceTag\n"));
  for (const char* absent : {"chap-secret", "9f86d081", "Factory", "Debug Level", "Clear TPM"}) {
    EXPECT_THAT(text, Not(HasSubstr(absent)));
  }
  EXPECT_EQ(RunRemote("check x.ini").exitCode, 0);
}

TEST_F(ToolRedfishTest, ThePasswordIsNowhereToBeSeen) {
  const ToolOutcome saved = RunRemote("-v save x.ini");
  const ToolOutcome restored = RunRemote("-v restore --yes x.ini");
  service->Knobs({"status=500 /redfish/v1/SessionService/Sessions"});
  const ToolOutcome failed = RunRemote("-v save y.ini");
  EXPECT_EQ(failed.exitCode, 2);
  WriteText(PathOf("password"), "wrong-password\n");
  service->Unset("status");
  const ToolOutcome refused = RunRemote("-v save y.ini");
  EXPECT_EQ(refused.exitCode, 77);
  EXPECT_THAT(refused.err, HasSubstr("\"admin\""));
  for (const ToolOutcome& outcome : {saved, restored, failed, refused}) {
    for (const char* secret : {RedfishService::kPassword, "wrong-password"}) {
      EXPECT_THAT(outcome.out + outcome.err, Not(HasSubstr(secret)));
    }
  }
  for (const auto& entry : std::filesystem::directory_iterator(PathOf(""))) {
    if (entry.path().extension() != ".ini") continue;
    EXPECT_THAT(ReadText(entry.path()), Not(HasSubstr(RedfishService::kPassword)));
  }
}

TEST_F(ToolRedfishTest, ARestoreTakesBackWhatWaits) {
  GiveTheSystemSettings();
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  ASSERT_EQ(RunRemote("save y.ini").exitCode, 0);
  Edit("y.ini", "Turbo Mode", "Off");
  Edit("y.ini", "UEFI Network: IPv4 (Boot0003)", "1");
  Edit("y.ini", "UEFI Disk: RAID Volume 1", "2");
  EXPECT_EQ(RunRemote("restore --yes y.ini").exitCode, 0);
  EXPECT_THAT(RunRemote("restore --yes y.ini").out, HasSubstr("3 pending until the next boot"));
  EXPECT_THAT(RunRemote("save --overwrite z.ini").err, HasSubstr("\"Off\" waits for the boot"));
  EXPECT_EQ(RunRemote("verify x.ini").exitCode, 1);  // true until the boot only

  const ToolOutcome back = RunRemote("restore --yes x.ini");
  EXPECT_EQ(back.exitCode, 0) << back.err;
  EXPECT_THAT(back.out, HasSubstr("On (\"Off\" waits for the boot) → On"));
  EXPECT_THAT(back.out, HasSubstr("RAID Volume 1  1 (\"2\" waits for the boot) → 1"));
  EXPECT_EQ(RunRemote("verify x.ini").exitCode, 0);
  service->Restart();
  EXPECT_EQ(service->Attributes().at("ProcTurbo"), "On");
  EXPECT_EQ(service->BootOrder().at(0), "Boot0001");
}

TEST_F(ToolRedfishTest, AnUndoBringsBackWhatWaitedBefore) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  const auto apply = [&](const std::string& setting) {
    return RunRemote("apply --yes --set '" + NameIn("x.ini", setting) + "'").exitCode;
  };
  const auto waiting = [&] { return RunRemote("pending").out; };
  EXPECT_EQ(apply("Turbo Mode=Off"), 0);
  EXPECT_EQ(apply("Asset Tag=new"), 0);
  EXPECT_THAT(waiting(), AllOf(HasSubstr("\"Off\""), HasSubstr("\"new\"")));
  EXPECT_EQ(RunRemote("undo --yes").exitCode, 0);
  EXPECT_THAT(waiting(), AllOf(HasSubstr("\"Off\""), Not(HasSubstr("\"new\""))));
  EXPECT_EQ(RunRemote("undo --yes 1").exitCode, 0);
  EXPECT_THAT(waiting(), Not(HasSubstr("\"Off\"")));
  EXPECT_EQ(RunRemote("undo --yes 2").exitCode, 0);  // before which Turbo Mode was to be off
  EXPECT_THAT(waiting(), HasSubstr("\"Off\""));
  const std::string port = service->Host().substr(service->Host().find(':'));
  const ToolOutcome unkept = RunRemote("apply --yes --confirm 1 --rescue redfish:admin@localhost" +
                                       port + " --set '" + NameIn("x.ini", "Asset Tag=new") + "'");
  EXPECT_EQ(unkept.exitCode, 3) << unkept.err;
  EXPECT_THAT(waiting(), AllOf(HasSubstr("\"Off\""), Not(HasSubstr("\"new\""))));
}

TEST_F(ToolRedfishTest, ListsWhatWaitsTakesItBackAndRestarts) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  EXPECT_EQ(RunRemote("pending").exitCode, 0);
  Edit("x.ini", "Turbo Mode", "Off");
  ASSERT_EQ(RunRemote("restore --yes x.ini").exitCode, 0);
  const ToolOutcome listed = RunRemote("pending --json");
  EXPECT_EQ(listed.exitCode, 1) << listed.err;
  EXPECT_EQ(json::parse(listed.out).at("waiting").at(0).at("setting"),
            "BIOS::Advanced::Processor Settings::Power %2F Performance::Turbo Mode");
  EXPECT_EQ(json::parse(listed.out).at("waiting").at(0).at("value"), "Off");
  EXPECT_EQ(RunRemote("pending --clear").exitCode, 0);
  ASSERT_EQ(RunRemote("reboot").exitCode, 0);
  EXPECT_EQ(service->Attributes().at("ProcTurbo"), "On");

  const ToolOutcome restored = RunRemote("--auth basic restore --yes --reboot --json x.ini");
  EXPECT_EQ(restored.exitCode, 0) << restored.err;
  EXPECT_EQ(json::parse(restored.out, nullptr, false).value("mode", ""), "all") << restored.out;
  EXPECT_EQ(service->Attributes().at("ProcTurbo"), "Off");
  EXPECT_EQ(service->State("restarts"), 2);
}

TEST_F(ToolRedfishTest, WhatNeedsAnotherBootComesWithIt) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  const std::string nic = "[BIOS::Advanced::Devices::Ethernet (Nic2)";
  EXPECT_THAT(ReadText(PathOf("x.ini")), HasSubstr("; greyed out while " + nic.substr(1) +
                                                   "::Network Boot is None; attribute Iscsi"));
  Edit("x.ini", "Initiator Name", "iqn.new");
  const ToolOutcome locked = RunRemote("restore --yes x.ini");
  EXPECT_EQ(locked.exitCode, 1) << locked.err;
  EXPECT_THAT(locked.out, HasSubstr("not applied (greyed out while "));
  std::string text = ReadText(PathOf("x.ini"));
  const std::size_t section = text.find(nic + "]\n");
  text.replace(text.find("Boot=None", section), 9, "Boot=Pxe");
  WriteText(PathOf("x.ini"), text);

  const ToolOutcome first = RunRemote("restore --yes x.ini");
  EXPECT_EQ(first.exitCode, 1) << first.err;
  EXPECT_THAT(first.out, HasSubstr("two boots are needed"));
  EXPECT_EQ(service->Pending(), json({{"Nic2Boot", "Pxe"}}));
  EXPECT_THAT(RunRemote("restore --yes x.ini").err, HasSubstr("two boots are needed"));
  const ToolOutcome both = RunRemote("restore --yes --reboot x.ini");
  EXPECT_EQ(both.exitCode, 0) << both.err;
  EXPECT_EQ(service->Attributes().at("IscsiInitiator"), "iqn.new");
  EXPECT_EQ(service->State("restarts"), 2);
  EXPECT_TRUE(service->Pending().empty());
}

TEST_F(ToolRedfishTest, ANewRegistryDoesNotLoseASetting) {
  const std::string registry = "/redfish/v1/RegistryStore/bios.json";
  for (const char* form : {"x.ini", "x.scf"}) {
    SCOPED_TRACE(form);
    service->Renew();
    const std::string file(form);
    service->Edit(RedfishService::kBios, {{"Attributes", {{"ProcTurbo", "Off"}}}});
    ASSERT_EQ(RunRemote("save --overwrite " + file).exitCode, 0);
    service->Edit(RedfishService::kBios, {{"Attributes", {{"ProcTurbo", "On"}}}});
    json entries = service->State("tree").at(registry).at("RegistryEntries");
    for (json& entry : entries["Attributes"]) {
      if (entry.at("AttributeName") != "ProcTurbo") continue;
      entry.update(json({{"DisplayName", "Fast Mode"}, {"MenuPath", "./New"}}));
    }
    service->Edit(registry, {{"RegistryEntries", entries}});
    EXPECT_THAT(RunRemote("diff " + file).out, HasSubstr("Fast Mode  On → Off"));
    const ToolOutcome restored = RunRemote("restore --yes --reboot " + file);
    EXPECT_EQ(restored.exitCode, 0) << restored.err;
    EXPECT_EQ(service->Attributes().at("ProcTurbo"), "Off");
    EXPECT_EQ(RunRemote("verify " + file).exitCode, 0);
  }
}

TEST_F(ToolRedfishTest, WhatCannotBeRestoredIsSaidWhenItIsSavedAndBeforeItIsWritten) {
  service->Edit(RedfishService::kBios, {{"Attributes", {{"AssetTag", std::string(128, 'x')}}}});
  const ToolOutcome text = RunRemote("save x.ini");
  EXPECT_EQ(text.exitCode, 0);
  EXPECT_THAT(text.err, HasSubstr("BIOS::Advanced::System Information::Asset Tag\n"));
  EXPECT_THAT(RunRemote("save x.scf").err, IsEmpty());

  service->Edit("/redfish/v1/RegistryStore/bios.json", nullptr);
  EXPECT_THAT(RunRemote("save y.ini").err, HasSubstr("does not give it: all settings stand under"));
  const ToolOutcome restored = RunRemote("restore --yes y.ini");
  EXPECT_EQ(restored.exitCode, 1);
  EXPECT_THAT(restored.err, HasSubstr("does not give its attribute registry"));
}

TEST_F(ToolRedfishTest, AWrongCallSaysWhatIsWrongAndWritesNothing) {
  struct WrongCall {
    const char* arguments;
    int exitCode;
    const char* text;
  };
  const WrongCall calls[] = {
      {"--target redfish:https://bmc", 64, "redfish:[USER@]HOST"},
      {"--target redfish:admin@", 64, "the host is missing"},
      {"--target redfish:bmc:99999", 64, "1 to 65535"},
      {"--target redfish:bmc --pinned-key abc", 64, "sha256//"},
      {"--target redfish:bmc --cacert no.pem", 66, "no.pem"},
      {"--target redfish:127.0.0.1:9 --timeout 2", 69, "does not answer"},
  };
  for (const WrongCall& call : calls) {
    const ToolOutcome outcome =
        Run(std::string("--bmc-password-file password ") + call.arguments + " save x.ini");
    EXPECT_EQ(outcome.exitCode, call.exitCode) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(call.text));
    EXPECT_FALSE(std::filesystem::exists(PathOf("x.ini")));
  }
  EXPECT_THAT(service->TakeLines(), IsEmpty());
}

TEST_F(ToolRedfishTest, RefusesACertificateThatNobodyVouchesFor) {
  const ToolOutcome outcome =
      Run("--target redfish:admin@" + service->Host() + " --bmc-password-file password save x.ini");
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_THAT(outcome.err, HasSubstr("--cacert"));
  EXPECT_THAT(service->TakeLines(), IsEmpty());
}

TEST_F(ToolRedfishTest, ARefusedRequestIsNotCalledABrokenConnection) {
  ASSERT_EQ(RunRemote("save x.ini").exitCode, 0);
  Edit("x.ini", "Patrol Scrub Interval", "12");
  service->Knobs({"status=403 PATCH /redfish/v1/Systems/*"});
  const ToolOutcome outcome = RunRemote("restore --yes x.ini");
  EXPECT_EQ(outcome.exitCode, 77);
  EXPECT_THAT(outcome.out, HasSubstr("24 → 12  not read back (the target refused access"));
  EXPECT_THAT(outcome.err, HasSubstr("the target refuses access; above is what is known"));
}

TEST_F(ToolRedfishTest, AFailureInTheMiddleWritesNothing) {
  for (const char* knob : {"stall=", "close=", "flood=", "status=500 "}) {
    service->Knobs({std::string(knob) + "/redfish/v1/RegistryStore/bios.json"});
    const ToolOutcome outcome = RunRemote("save x.ini");
    EXPECT_NE(outcome.exitCode, 0) << knob;
    EXPECT_THAT(outcome.err, HasSubstr("saverestore: error 20")) << knob;
    EXPECT_FALSE(std::filesystem::exists(PathOf("x.ini"))) << knob;
    service->Renew();
  }
}

TEST_F(ToolRedfishTest, ASecondInterruptGivesAStalledRequestUpAndClosesTheSession) {
  service->Knobs({"stall=/redfish/v1/RegistryStore/bios.json"});
  const std::string tool = ToolProgram() + " --target redfish:admin@" + service->Host() +
                           " --cacert " + service->CaCert() + " --bmc-password-file password";
  // Job control, so that the shell does not start it with interrupts ignored.
  ToolOutcome outcome;
  std::thread run([&] {
    outcome = RunShell(PathOf(""), "(set -m; " + tool + " save x.ini & echo $! >pid; wait $!)");
  });
  // Looks and forgets nothing: a request that comes in between would be lost.
  const auto isStalled = [this] {
    return std::ranges::any_of(service->State("requests"), [](const json& request) {
      return request.at("line").get<std::string>().ends_with("bios.json");
    });
  };
  while (!isStalled()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const int process = std::stoi(ReadText(PathOf("pid")));
  for (const int signal : {SIGINT, SIGTERM}) kill(process, signal);
  run.join();
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_THAT(outcome.err, HasSubstr("interrupted"));
  EXPECT_FALSE(std::filesystem::exists(PathOf("x.ini")));
  EXPECT_EQ(service->State("sessions"), 0);
}

TEST_F(ToolRedfishTest, ACaptureSavesLikeTheServerByteForByte) {
  ASSERT_EQ(RunRemote("save --mode bios server.ini").exitCode, 0);
  ASSERT_EQ(RunRemote("machine capture m.json").exitCode, 0);
  ASSERT_EQ(Run("--target machine:m.json save --mode bios m.ini").exitCode, 0);
  EXPECT_EQ(ReadText(PathOf("m.ini")), ReadText(PathOf("server.ini")));
  EXPECT_THAT(ReadText(PathOf("m.json")), Not(HasSubstr(RedfishService::kPassword)));
}

TEST_F(ToolRedfishTest, ARegistryBecomesAMachineThatSavesLikeTheServer) {
  ASSERT_EQ(RunRemote("save server.ini").exitCode, 0);
  const json tree = service->State("tree");
  WriteText(PathOf("registry.json"), tree.at("/redfish/v1/RegistryStore/bios.json").dump());
  WriteText(PathOf("values.json"), tree.at(RedfishService::kBios).dump());
  ASSERT_EQ(Run("machine from-registry registry.json values.json m.json").exitCode, 0);
  ASSERT_EQ(Run("--target machine:m.json save --mode bios m.ini").exitCode, 0);
  const auto setup = [this](const char* file) {
    const std::string text = ReadText(PathOf(file));
    const std::size_t start = text.find("[BIOS::Advanced]");
    return text.substr(start, text.find("[BootOrder::") - start);
  };
  EXPECT_EQ(setup("m.ini"), setup("server.ini"));

  Edit("m.ini", "Device Reset Delay", "61");
  EXPECT_EQ(Run("--target machine:m.json restore --yes m.ini").exitCode, 65);
  Edit("m.ini", "Device Reset Delay", "60");
  EXPECT_EQ(Run("--target machine:m.json restore --yes m.ini").exitCode, 0);
  EXPECT_EQ(Run("--target machine:m.json verify m.ini").exitCode, 0);

  EXPECT_EQ(Run("machine from-registry registry.json m.json").exitCode, 2);
  EXPECT_EQ(Run("machine from-registry registry.json defaults.json").exitCode, 0);
  EXPECT_EQ(Run("machine from-registry values.json other.json").exitCode, 65);
}

}  // namespace
}  // namespace Test
