#include "support/TestEngine.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "common/Platform.h"
#include "query/NodeTree.h"
#include "query/XDirector.h"

namespace Test {

void FakeProvider::SetList(const std::string& path, std::vector<std::string> values, int kind) {
  tree[path].values = std::move(values);
  tree[path].kind = kind;
}

int FakeProvider::Reads(std::string_view path) const {
  return static_cast<int>(std::ranges::count(reads, path));
}

void FakeProvider::Read(const std::string& path, NodeMap& results) {
  reads.push_back(path);
  Query::ReadNodes(tree, path, results);
}

void FakeProvider::Write(const SDK::SettingMap& settings, bool isBios, bool reserved) {
  const auto text = [](bool flag) { return std::string(flag ? "true" : "false"); };
  Record("batch(" + text(isBios) + "," + text(reserved) + ")", settings, "");
}

void FakeProvider::WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) {
  Record("password(" + password + ")", settings, "");
}

void FakeProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  Record("group(" + path + ")", settings, path + "/");
}

void FakeProvider::Record(std::string how, const SDK::SettingMap& settings,
                          const std::string& below) {
  writes.push_back({std::move(how), settings});
  for (const auto& [path, value] : settings) Set(below + path, value);
}

void FailingProvider::Count(bool isWrite) {
  if (++calls_ != failAt_) return;
  hasFailedWrite_ = isWrite;
  ErrorManager::Raise(code_, "the test", "the test", "the test");
}

void FailingProvider::Read(const std::string& path, NodeMap& results) {
  Count(false);
  inner_->Read(path, results);
}

void FailingProvider::Write(const SDK::SettingMap& settings, bool isBios, bool reserved) {
  Count(true);
  inner_->Write(settings, isBios, reserved);
}

void FailingProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                      const std::string& password) {
  Count(true);
  inner_->WriteAuthorised(settings, password);
}

void FailingProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  Count(true);
  inner_->WriteGroup(path, settings);
}

EngineTest::EngineTest() {
  std::string pattern = (std::filesystem::temp_directory_path() / "saverestore-XXXXXX").string();
  folder_ = mkdtemp(pattern.data());
  setenv("XDG_STATE_HOME", PathOf("state").c_str(), 1);  // where the tool keeps its history
  Mount(engine);
}

EngineTest::~EngineTest() {
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
  std::filesystem::remove_all(folder_);
}

void EngineTest::Mount(const std::shared_ptr<SDK::QueryProvider>& provider) {
  for (const char* tree : {"BMC", "BIOS", "SMBIOS"}) {
    SDK::XDirectorImpl::CreateInstance()->Mount(tree, provider);
  }
  Platform::PlatformImpl::inst = nullptr;
}

void EngineTest::SetServer(const std::string& platform, const std::string& product,
                           const std::string& board) {
  engine->platform = platform;
  engine->Set("/BMC/INFO/PRODUCT", product);
  engine->Set("/BIOS/PlatformID", board);
  Platform::PlatformImpl::inst = nullptr;
}

SDK::SavenRestoreOptions Options(const std::string& fileName, int mode) {
  SDK::SavenRestoreOptions options = {};
  options.mode = mode;
  fileName.copy(options.fileName, sizeof options.fileName - 1);
  return options;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void WriteText(const std::string& path, std::string_view text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  ASSERT_TRUE(file.flush()) << path;
}

std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace Test
