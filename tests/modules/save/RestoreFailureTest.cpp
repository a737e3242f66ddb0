// Restores that fail: at every single read and write, and with every error of their own.
#include <cstdlib>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;

/// A caldra server, and a file that changes something of each kind on it.
class RestoreFailureTest : public RestoreTest {
 protected:
  RestoreFailureTest() {
    Load("caldra");
    saved = Saved(2);
    std::string text = WithValue(saved, "BIOS::Main", "Quiet Boot", "0");
    text = WithValue(text, "USERS::USER3", "UserName", "Other");
    text = WithValue(text, "BIOS::BootOrder", "Internal Shell", "2");
    text = WithValue(text, "BIOS::BootOrder", "Disk A 480 GB", "1");
    text = WithValue(text, "BootOrder::Hard Disk", "Disk A 480 GB (Port 0)", "3");
    text = WithValue(text, "BootOrder::Hard Disk", "Disk C 4 TB (Port 4)", "1");
    WriteText(PathOf("edited.ini"), text);
  }

  /// Restores the edited file. \return the code with which that ends.
  int CodeOfEdited(OpenSaveRestore& module) {
    ::testing::internal::CaptureStdout();
    const int thrown = CodeOf([&] { module.Restore(Options(PathOf("edited.ini"), 2)); });
    ::testing::internal::GetCapturedStdout();
    return thrown;
  }

  std::string saved;
};

TEST_F(RestoreFailureTest, ARefusedWriteIsTheCallersToSeeAndToTryAgain) {
  const NodeMap tree = engine->tree;
  const std::size_t descriptors = OpenDescriptors();
  int failedWrites = 0;
  int keptBmc = 0;
  int keptBios = 0;
  int calls = 1;
  for (int failAt = 1; failAt <= calls; ++failAt) {
    engine->tree = tree;
    const auto failing =
        std::make_shared<FailingProvider>(engine, failAt, ErrorManager::WriteFailed);
    Mount(failing);
    OpenSaveRestore module;
    const int thrown = CodeOfEdited(module);
    calls = std::max(calls, failing->Calls());
    ASSERT_EQ(OpenDescriptors(), descriptors) << failAt;
    if (!failing->HasFailedWrite()) {
      // A read that fails is an absent setting: what the restore needs of the server, and did not
      // get, ends it; it never ends with the read's own code.
      EXPECT_THAT(thrown, AnyOf(0, 1042, 1134, 1263)) << failAt;
      continue;
    }
    ++failedWrites;
    EXPECT_EQ(thrown, ErrorManager::WriteFailed) << failAt;
    const SDK::SettingMap bmc = module.bmcSetMap;
    const SDK::SettingMap bios = module.biosSetMap;
    engine->writes.clear();
    if (!bmc.empty()) module.ExecuteBmcQuery();
    if (!bios.empty()) module.ExecuteBiosSetMapQuery();
    EXPECT_EQ(BmcBatch(), bmc) << failAt;
    EXPECT_EQ(BiosBatch(), bios) << failAt;
    EXPECT_THAT(module.bmcSetMap, IsEmpty());
    EXPECT_THAT(module.biosSetMap, IsEmpty());
    keptBmc += bmc.empty() ? 0 : 1;
    keptBios += bios.empty() ? 0 : 1;
  }
  // The password, nine filters, six destinations, and the batches of the BMC, the disks, the BIOS.
  EXPECT_EQ(failedWrites, 1 + 9 + 6 + 3);
  EXPECT_EQ(keptBmc, 9 + 6 + 2);
  EXPECT_EQ(keptBios, 2);
  EXPECT_GT(calls, 100);
}

TEST_F(RestoreFailureTest, AServerThatFallsSilentEndsTheRestoreAtItsCounts) {
  int calls = 1;
  int ended = 0;
  for (int failAt = 1; failAt <= calls; ++failAt) {
    const auto failing =
        std::make_shared<FailingProvider>(engine, failAt, ErrorManager::Unreachable);
    Mount(failing);
    OpenSaveRestore module;
    const int thrown = CodeOfEdited(module);
    calls = std::max(calls, failing->Calls());
    if (thrown == ErrorManager::Unreachable && !failing->HasFailedWrite()) ++ended;
  }
  EXPECT_EQ(ended, 3);  // the setup tree and the two boot orders
}

struct CodeRow {
  const char* name;
  int code;
  int mode;
  std::string file;
  bool skipSystemCheck = false;
};

class ErrorCodeTest : public RestoreTest, public ::testing::WithParamInterface<CodeRow> {};

TEST_P(ErrorCodeTest, IsRaisedByARestore) {
  engine->SetList("/BIOS/BootOrder", {"/BIOS/BootOrder[1]"});
  engine->Set("/BIOS/BootOrder[1]", "Disk");
  if (GetParam().code == 1042) engine->Set("/BMC/INFO/VERSION", "");
  const std::string path = PathOf(std::string(GetParam().name) + ".ini");
  if (GetParam().code != 1046) WriteText(path, GetParam().file);
  SDK::SavenRestoreOptions options = Options(path, GetParam().mode);
  options.skipSystemCheck = GetParam().skipSystemCheck;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(options); }), GetParam().code);
  ::testing::internal::GetCapturedStdout();
}

const std::string kSystem = "[SYSTEM]\nBIOSVersion=ABCDEF.01\nFWBootVersion=1\nFWOpcodeVersion=2\n";
INSTANTIATE_TEST_SUITE_P(
    Rows, ErrorCodeTest,
    ::testing::Values(
        CodeRow{"VersionNotTold", 1042, 1, kSystem},
        CodeRow{"VersionMissing", 1043, 1, "[SYSTEM]\n"},
        CodeRow{"OtherBios", 1044, 1, WithValue(kSystem, "SYSTEM", "BIOSVersion", "Z")},
        CodeRow{"OtherFirmware", 1045, 1, WithValue(kSystem, "SYSTEM", "FWBootVersion", "9")},
        CodeRow{"NoFile", 1046, 1, ""},
        CodeRow{"NotASectionMap", 1133, 0, "[BIOS::BootOrder]\nDisk=1\nstray\n", true},
        CodeRow{"KeyMissing", 1134, 1, "[POWER]\n", true},
        CodeRow{"EmptyPosition", 1134, 0, "[BIOS::BootOrder]\nDisk=\n", true},
        CodeRow{"NoSuchDevice", 1263, 0, "[BIOS::BootOrder]\nStick=1\n", true}),
    [](const auto& row) { return row.param.name; });

using ErrorCodes = ErrorCodeTest;

TEST_F(ErrorCodes, FileNamesAndUnwritableFiles) {
  for (const char* name : {"x.txt", ".ini", "a.Ini", "x.ini ", "abcde"}) {
    EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(Options(name, 1)); }), 1040) << name;
  }
  EXPECT_THROW(OpenSaveRestore().Restore(Options("ab", 1)), std::out_of_range);
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Save(Options(PathOf("no/x.ini"), 1)); }), 1041);
}

TEST_F(ErrorCodes, AFileThatIsNoneOfOursIsNotRead) {
  std::filesystem::create_directory(PathOf("folder.ini"));
  WriteText(PathOf("nul.ini"), std::string("[POWER]\n\0", 9));
  // A path that a reader would cut is refused, not cut: the shorter one may be another file.
  const std::string folder = PathOf(std::string(200, 'a')) + "/" + std::string(200, 'b');
  std::filesystem::create_directories(folder);
  const std::string name = folder + "/" + std::string(512 - folder.size() - 5, 'c') + ".ini";
  WriteText(name, "[POWER]\n");
  ASSERT_EQ(name.size(), 512U);
  for (const std::string& path : {PathOf("folder.ini"), PathOf("nul.ini"), name}) {
    EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(Options(path, 1)); }), 1046) << path;
  }
  const std::string shorter = folder + "/" + std::string(511 - folder.size() - 5, 'c') + ".ini";
  WriteText(shorter, "[POWER]\n");
  EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(Options(shorter, 1)); }), 1043);
}

TEST_F(RestoreFailureTest, TheFileIsReadOnce) {
  // Editors replace files: what was compared with the server is what is written.
  class Replacing final : public FakeProvider {
   public:
    std::string file;
    void Read(const std::string& path, NodeMap& results) override {
      FakeProvider::Read(path, results);
      if (path == "/SMBIOS/Type0/BIOSVersion") std::filesystem::remove(file);
    }
  };
  const auto server = std::make_shared<Replacing>();
  server->tree = engine->tree;
  server->platform = engine->platform;
  server->file = PathOf("edited.ini");
  Mount(engine = server);
  OpenSaveRestore module;
  EXPECT_EQ(CodeOfEdited(module), 0);
  EXPECT_EQ(BmcBatch().at("/BMC/USER[3]/NAME"), "Other");
}

}  // namespace
}  // namespace Test
