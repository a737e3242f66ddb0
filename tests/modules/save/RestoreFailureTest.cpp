// Restores that fail: at every single read and write, and with every error of their own.
#include <cstdlib>

#include "modules/save/RestoreFixture.h"

namespace Test {
namespace {

using ::testing::AnyOf;

/// A caldra server, and a file that changes something of each kind on it.
class RestoreFailureTest : public RestoreTest {
 protected:
  RestoreFailureTest() {
    Load("caldra");
    saved = Saved(2);
    std::string text = saved;
    for (const auto& [section, key, value] :
         {std::tuple{"BIOS::Main", "Quiet Boot", "0"},
          {"USERS::USER3", "UserName", "Other"},
          {"BIOS::BootOrder", "Internal Shell", "2"},
          {"BIOS::BootOrder", "Disk A 480 GB", "1"},
          {"BootOrder::Hard Disk", "Disk A 480 GB (Port 0)", "3"},
          {"BootOrder::Hard Disk", "Disk C 4 TB (Port 4)", "1"}}) {
      text = WithValue(text, section, key, value);
    }
    WriteText(PathOf("edited.ini"), text);
  }

  /// Restores the edited file. \return the code with which that ends.
  int CodeOfEdited(OpenSaveRestore& module) {
    ::testing::internal::CaptureStdout();
    const int thrown = CodeOf([&] { module.Restore(Options(PathOf("edited.ini"), 2)); });
    ::testing::internal::GetCapturedStdout();
    return thrown;
  }

  /// Restores the edited file with each call to the server failing in turn, and calls
  /// `check(module, code of the restore, whether a write has failed)`.
  template <typename Check>
  void ForEveryCall(int code, Check check) {
    int calls = 1;
    for (int failAt = 1; failAt <= calls; ++failAt) {
      SCOPED_TRACE(failAt);
      const auto failing = std::make_shared<FailingProvider>(engine, failAt, code);
      Mount(failing);
      OpenSaveRestore module;
      const int thrown = CodeOfEdited(module);
      calls = std::max(calls, failing->Calls());
      check(module, thrown, failing->HasFailedWrite());
    }
    EXPECT_GT(calls, 100);
  }

  std::string saved;
};

TEST_F(RestoreFailureTest, ARefusedWriteIsTheCallersToSeeAndToTryAgain) {
  const NodeMap tree = engine->tree;
  const std::size_t descriptors = OpenDescriptors();
  int failedWrites = 0, keptBmc = 0, keptBios = 0;
  ForEveryCall(ErrorManager::WriteFailed, [&](OpenSaveRestore& module, int thrown, bool inWrite) {
    ASSERT_EQ(OpenDescriptors(), descriptors);
    if (!inWrite) {
      // A read that fails is an absent setting: what the restore needs of the server, and did not
      // get, ends it; it never ends with the read's own code.
      EXPECT_THAT(thrown, AnyOf(0, 1042, 1134, 1263));
    } else {
      EXPECT_EQ(thrown, ErrorManager::WriteFailed);
      const SDK::SettingMap bmc = module.bmcSetMap;
      const SDK::SettingMap bios = module.biosSetMap;
      engine->writes.clear();
      if (!bmc.empty()) module.ExecuteBmcQuery();
      if (!bios.empty()) module.ExecuteBiosSetMapQuery();
      EXPECT_EQ(BmcBatch(), bmc);
      EXPECT_EQ(BiosBatch(), bios);
      EXPECT_TRUE(module.bmcSetMap.empty() && module.biosSetMap.empty());
      ++failedWrites;
      keptBmc += bmc.empty() ? 0 : 1;
      keptBios += bios.empty() ? 0 : 1;
    }
    engine->tree = tree;
  });
  // The password, nine filters, six destinations, and the batches of the BMC, the disks, the BIOS.
  EXPECT_EQ(failedWrites, 1 + 9 + 6 + 3);
  EXPECT_EQ(keptBmc, 9 + 6 + 2);
  EXPECT_EQ(keptBios, 2);
}

TEST_F(RestoreFailureTest, AServerThatFallsSilentEndsTheRestoreAtItsCounts) {
  int ended = 0;
  ForEveryCall(ErrorManager::Unreachable, [&](OpenSaveRestore&, int thrown, bool inWrite) {
    if (thrown == ErrorManager::Unreachable && !inWrite) ++ended;
  });
  EXPECT_EQ(ended, 3);  // the setup tree and the two boot orders
}

TEST_F(RestoreTest, AFileThatIsNoneOfOursIsNotRead) {
  std::filesystem::create_directory(PathOf("folder.ini"));
  WriteText(PathOf("nul.ini"), std::string("[POWER]\n\0", 9));
  for (const char* name : {"folder.ini", "nul.ini", "none.ini"}) {
    EXPECT_EQ(CodeOf([&] { OpenSaveRestore().Restore(Options(PathOf(name), 1)); }), 1046) << name;
  }
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
