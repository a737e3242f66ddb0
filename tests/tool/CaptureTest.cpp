// machine capture: what it keeps reads like the target, and when it keeps nothing.
#include "tool/commands/CaptureCommand.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "providers/machine/MachineFile.h"
#include "providers/machine/MachineProvider.h"
#include "query/NodeTree.h"
#include "tool/ExitCodes.h"
#include "tool/ToolFixture.h"
#ifdef SAVERESTORE_HOST
#include "support/FakeHost.h"
#endif

namespace Test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class CaptureTest : public ToolTest {
 protected:
  /// Captures `target` and compares saves of it and of the capture in these modes.
  void ExpectSameSaves(const std::string& target,
                       const std::vector<std::string>& modes = {"bios", "bmc", "all"},
                       const std::string& environment = "") {
    const Outcome captured = Run("--target " + target + " machine capture c.json", environment);
    ASSERT_EQ(captured.exitCode, 0) << captured.err;
    EXPECT_THAT(captured.out, HasSubstr("Captured c.json: "));
    EXPECT_EQ(ModeBits(PathOf("c.json")), 0600U);
    for (const std::string& mode : modes) {
      const std::string save = " save --overwrite --mode " + mode;
      ASSERT_EQ(Run("--target " + target + save + " t.ini", environment).exitCode, 0);
      ASSERT_EQ(Run("--target machine:c.json" + save + " c.ini").exitCode, 0);
      EXPECT_EQ(ReadText(PathOf("t.ini")), ReadText(PathOf("c.ini"))) << mode;
    }
  }

  /// Captures what `provider` answers for into c.json.
  void Capture(const std::shared_ptr<SDK::QueryProvider>& provider) {
    Tool::RunCapture({[&] { return Planning::AllTrees(provider); }, PathOf("c.json"), false, {}},
                     Tool::Messages(Tool::Verbosity::Quiet));
  }

  static std::shared_ptr<FakeProvider> FakeOf(const std::string& example) {
    auto fake = std::make_shared<FakeProvider>();
    const Machine::MachineImage machine =
        Machine::LoadMachine(kSource + "/examples/machines/" + example + "-server.json");
    fake->tree = machine.nodes;
    fake->platform = machine.platform;
    return fake;
  }
};

/// The paths at which two trees are not the same.
std::vector<std::string> Differences(const NodeMap& one, const NodeMap& other) {
  NodeMap either = one;
  either.insert(other.begin(), other.end());
  std::vector<std::string> paths;
  for (const auto& [path, node] : either) {
    const bool isInBoth = one.contains(path) && other.contains(path);
    if (!isInBoth || one.at(path) != other.at(path)) paths.push_back(path);
  }
  return paths;
}

class CapturedMachineTest : public CaptureTest,
                            public ::testing::WithParamInterface<const char*> {};

TEST_P(CapturedMachineTest, IsSavedByteForByteLikeItsSource) {
  const std::string path = kSource + "/" + GetParam();
  if (!fs::exists(path)) GTEST_SKIP() << GetParam() << " is not here";
  ExpectSameSaves("machine:" + path);
  const Machine::MachineImage source = Machine::LoadMachine(path);
  const Machine::MachineImage captured = Machine::LoadMachine(PathOf("c.json"));
  EXPECT_THAT(Differences(captured.nodes, source.nodes),
              Each(AnyOf(EndsWith("/AdminPw"), EndsWith("/UserPw"))));
  EXPECT_EQ(captured.platform, source.platform);
}

INSTANTIATE_TEST_SUITE_P(Machines, CapturedMachineTest,
                         ::testing::Values("examples/machines/caldra-server.json",
                                           "examples/machines/oskent-server.json",
                                           "examples/machines/r8810lqe-server.json",
                                           "../shared/data/machines/captured-server-a.json",
                                           "../shared/data/machines/captured-server-b.json"));

TEST_F(CaptureTest, PasswordsAreNotKept) {
  WriteText(PathOf("m.json"),
            Machine::RenderMachine({"",
                                    "pw-of-admin",
                                    {{"/BIOS", {1, {"/BIOS/Main"}, {}, false}},
                                     {"/BIOS/Main", {1, {"/BIOS/Main/AdminPw"}, {}, false}},
                                     {"/BIOS/Main/AdminPw", {0, {"pw-in-menu"}, {}, false}},
                                     {"/BMC/USER[2]/PASSWORD", {0, {"pw-of-user"}, {}, false}}},
                                    {}}));
  ExpectSameSaves("machine:m.json");
  EXPECT_THAT(ReadText(PathOf("c.json")), Not(HasSubstr("pw-")));
  EXPECT_THAT(ReadText(PathOf("c.json")), HasSubstr("/BMC/USER[2]/PASSWORD"));
}

TEST_F(CaptureTest, AnExistingFileNeedsOverwriteAndIsThenForItsOwnerAlone) {
  WriteText(PathOf("c.json"), "precious");
  const Outcome refused = Run("--target " + Example("oskent") + " machine capture c.json");
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.err, HasSubstr("--overwrite"));
  EXPECT_EQ(ReadText(PathOf("c.json")), "precious");
  fs::permissions(PathOf("c.json"), fs::perms::all);
  EXPECT_EQ(Run("--target " + Example("oskent") + " machine capture --overwrite c.json").exitCode,
            0);
  EXPECT_EQ(ModeBits(PathOf("c.json")), 0600U);
  EXPECT_THAT(Files(), ElementsAre("c.json"));
}

/// A back end that finds nothing at the roots of its trees, only what is asked for by name.
class RootlessProvider final : public FakeProvider {
 public:
  void Read(const std::string& path, NodeMap& results) override {
    if (path == "/BMC" || path == "/SMBIOS") ErrorManager::Raise(ErrorManager::NoSuchNode, path);
    FakeProvider::Read(path, results);
  }
};

TEST_F(CaptureTest, ABackEndThatKnowsCollectionsOnlyIsCapturedWhole) {
  auto rootless = std::make_shared<RootlessProvider>();
  rootless->tree = FakeOf("oskent")->tree;
  rootless->SetList("/BMC/LINKS", {"/BMC/ELSEWHERE/X"});
  rootless->SetList("/BMC/LAN[1]", {"/BMC/LAN[1]/IP", "/BMC/ELSEWHERE"});
  rootless->Set("/BMC/ELSEWHERE/X", "found by its link");
  rootless->platform = "OSKENT_PLATFORM";
  Capture(rootless);
  const Machine::MachineImage captured = Machine::LoadMachine(PathOf("c.json"));
  rootless->tree.erase("/BMC/LINKS");  // nothing leads there
  EXPECT_THAT(Differences(captured.nodes, rootless->tree),
              ElementsAre("/BIOS/Security/AdminPw", "/BIOS/Security/UserPw"));
}

TEST_F(CaptureTest, ATargetThatFallsSilentAtAnyReadIsNotKept) {
  const auto whole = std::make_shared<FailingProvider>(FakeOf("oskent"), 0, 0);
  Capture(whole);
  fs::remove(PathOf("c.json"));
  ASSERT_GT(whole->Calls(), 50);
  for (int failAt = 1; failAt <= whole->Calls(); failAt += 7) {
    const auto failing =
        std::make_shared<FailingProvider>(FakeOf("oskent"), failAt, ErrorManager::NotPermitted);
    EXPECT_EQ(CodeOf([&] { Capture(failing); }), ErrorManager::NotPermitted) << failAt;
  }
  EXPECT_THAT(Files(), IsEmpty());
}

/// A server one of whose settings changes all the time.
class RestlessProvider final : public FakeProvider {
 public:
  void Read(const std::string& path, NodeMap& results) override {
    Set("/BMC/LAN[1]/ALERT/DESTINATION[1]/IP", std::to_string(reads.size()));
    FakeProvider::Read(path, results);
  }
};

TEST_F(CaptureTest, ATargetThatChangesMeanwhileIsNotKept) {
  auto restless = std::make_shared<RestlessProvider>();
  restless->tree = FakeOf("oskent")->tree;
  try {
    Capture(restless);
    FAIL() << "captured";
  } catch (const Tool::ToolError& fault) {
    EXPECT_THAT(fault.what(), HasSubstr("CHANNEL::LAN1"));
    EXPECT_THAT(fault.what(), HasSubstr("changed"));
  }
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(CaptureTest, ATextThatNoMachineFileHoldsIsNamed) {
  auto fake = FakeOf("oskent");
  fake->Set("/BMC/INFO/VERSION", "\xFF");
  try {
    Capture(fake);
    FAIL();
  } catch (const Tool::ToolError& fault) {
    EXPECT_THAT(fault.what(), HasSubstr("/BMC/INFO/VERSION"));
  }
  EXPECT_THAT(Files(), IsEmpty());
}

#ifdef SAVERESTORE_HOST

class LocalTest : public CaptureTest {
 protected:
  LocalTest() {
    host_.SetDmi("bios_version", "C41200.04.17.0031");
    host_.SetDmi("product_name", "CALDRA");
    host_.SetAttribute("board", "Quiet",
                       {{"type", "enumeration"},
                        {"current_value", "Enabled"},
                        {"display_name", "Quiet; Boot"},
                        {"possible_values", "Disabled;Enabled"}});
    host_.SetAttribute("board", "Tag", {{"type", "string"}, {"current_value", " rack 7 "}});
    host_.SetBootEntry(0, "Debian = GNU");
    host_.SetBootEntry(1, "Grüße");
    host_.SetBootEntry(2, "Grüße");
    host_.SetBootOrder({0, 1, 2});
  }

  [[nodiscard]] std::string Environment() const {
    return "SAVERESTORE_SYSFS='" + host_.Sysfs().string() + "' EFIVARFS_PATH='" + host_.Efivarfs() +
           "'";
  }

  FakeHost host_{PathOf("")};
};

TEST_F(LocalTest, ACaptureIsSavedLikeTheMachineItself) {
  ExpectSameSaves("local", {"bios"}, Environment());
  const std::string text = ReadText(PathOf("t.ini"));
  EXPECT_THAT(text, HasSubstr("Quiet; Boot=Enabled\t"));
  EXPECT_THAT(text,
              HasSubstr("[BIOS::BootOrder]\nDebian \\x3D GNU=1\nGrüße=2\nGrüße (Boot0002)=3\n"));
}

TEST_F(LocalTest, APartThatTheTargetLacksIsRefused) {
  for (const char* mode : {"bmc", "all"}) {
    const Outcome outcome =
        Run(std::string("--target local save x.ini --mode ") + mode, Environment());
    EXPECT_EQ(outcome.exitCode, 64);
    EXPECT_THAT(outcome.err, HasSubstr("the target has no BMC; use --mode bios"));
  }
  EXPECT_FALSE(fs::exists(PathOf("x.ini")));
  // Both are for the BIOS.
  const std::string both = "--target local --target " + Example("caldra");
  EXPECT_EQ(Run(both + " save x.ini", Environment()).exitCode, 64);
}

TEST_F(LocalTest, AnEditedFileIsRestored) {
  ASSERT_EQ(Run("--target local save x.ini", Environment()).exitCode, 0);
  std::string text = ReadText(PathOf("x.ini"));
  text.replace(text.find("Quiet; Boot=Enabled"), 19, "Quiet; Boot=Disabled");
  text.replace(text.find("\nGrüße=2"), 10, "\nGrüße=3");
  text.replace(text.find("(Boot0002)=3"), 12, "(Boot0002)=2");
  WriteText(PathOf("x.ini"), text);
  const Outcome outcome =
      Run("--target local restore --yes --no-backup --skip-system-check x.ini", Environment());
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Quiet; Boot  Enabled → Disabled  applied"));
  EXPECT_EQ(host_.Value("board", "Quiet"), "Disabled");
  EXPECT_EQ(host_.Value("board", "Tag"), " rack 7 ");
  EXPECT_EQ(host_.Variable("BootOrder"), std::string("\7\0\0\0\0\0\2\0\1\0", 10));
}

TEST_F(LocalTest, BootEntriesOnAMachineWithoutAnyAreRefused) {
  ASSERT_EQ(Run("--target local save x.ini", Environment()).exitCode, 0);
  const std::string noEfi = "SAVERESTORE_SYSFS='" + host_.Sysfs().string() + "'";
  const std::string restore = "--target local restore --yes --no-backup --skip-system-check ";
  const Outcome refused = Run(restore + "x.ini", noEfi);
  EXPECT_EQ(refused.exitCode, 65);
  EXPECT_THAT(refused.err, HasSubstr("efivarfs is not mounted; --skip-boot-order"));
  EXPECT_EQ(Run(restore + "--skip-boot-order x.ini", noEfi).exitCode, 0);
}

TEST_F(LocalTest, AUserWhoMayNotReadASettingGetsNoFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  fs::permissions(host_.ValueFile("board", "Tag"), fs::perms::owner_read | fs::perms::owner_write);
  fs::permissions(PathOf(""), fs::perms::all);
  const std::string nobody =
      "env " + Environment() + " setpriv --reuid=65534 --regid=65534 --clear-groups";
  const auto expectRefused = [&](const std::string& command, const char* file) {
    const Outcome outcome = Run("--target local " + command, nobody);
    EXPECT_EQ(outcome.exitCode, 77) << command << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(file)) << command;
  };
  expectRefused("save x.ini", "Tag/current_value");
  expectRefused("machine capture x.json", "Tag/current_value");
  const fs::path choices = host_.ValueFile("board", "Quiet").parent_path() / "possible_values";
  fs::permissions(choices, fs::perms::owner_read);
  expectRefused("save x.ini", "Quiet/possible_values");
  fs::permissions(choices, fs::perms::all);
  EXPECT_FALSE(fs::exists(PathOf("x.ini")) || fs::exists(PathOf("x.json")));

  // Who may use all but the BMC has the BIOS, and nothing that passes for the whole.
  ASSERT_EQ(Run("--target local save x.ini", Environment()).exitCode, 0);
  fs::permissions(host_.ValueFile("board", "Tag"), fs::perms::all);
  fs::permissions(PathOf("x.ini"), fs::perms::all);
  const std::string device = (host_.Sysfs() / "ipmi0").string();
  WriteText(device, "");
  fs::permissions(device, fs::perms::none);
  for (const char* command : {"save y.ini", "save --mode bmc y.ini", "machine capture y.json",
                              "restore --yes --mode all x.ini"}) {
    expectRefused(command, device.c_str());
  }
  ASSERT_EQ(Run("--target local save --mode bios y.ini", nobody).exitCode, 0);
  const Outcome restored =
      Run("--target local restore --yes --no-backup --mode bios y.ini", nobody);
  EXPECT_EQ(restored.exitCode, 0) << restored.err;
  EXPECT_THAT(restored.err, AllOf(HasSubstr("FWOpcodeVersion is not compared"),
                                  HasSubstr("run the command as root")));
}

TEST_F(LocalTest, AMachineWithoutFirmwareFilesIsSavedAndCapturedWithAWarning) {
  const std::string empty = "SAVERESTORE_SYSFS='" + PathOf("none") + "'";
  const Outcome save = Run("--target local save x.ini", empty);
  EXPECT_EQ(save.exitCode, 0);
  EXPECT_THAT(save.err, HasSubstr("no BIOS setting"));
  const Outcome capture = Run("--target local machine capture x.json", empty);
  EXPECT_EQ(capture.exitCode, 0);
  EXPECT_THAT(capture.err, HasSubstr("no setting"));
  EXPECT_EQ(Run("--target local:here save y.ini", empty).exitCode, 64);
}

#endif

TEST_F(CaptureTest, ATargetIsNotCapturedIntoItsOwnFile) {
  fs::copy_file(kSource + "/examples/machines/caldra-server.json", PathOf("m.json"));
  const std::string before = ReadText(PathOf("m.json"));
  const Outcome outcome = Run("--target machine:m.json machine capture --overwrite ./m.json");
  EXPECT_EQ(outcome.exitCode, 64);
  EXPECT_THAT(outcome.err, HasSubstr("is the target itself"));
  EXPECT_EQ(ReadText(PathOf("m.json")), before);
}

}  // namespace
}  // namespace Test
