#include "SetupTree.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

#include "common/Platform.h"
#include "modules/save/SaveRestore.h"
#include "query/NodeTree.h"
#include "query/XDirector.h"

namespace Bench {
namespace {

constexpr std::size_t kSettingsPerMenu = 20;
constexpr const char* kTopMenu = "/BIOS/Main";

/// A name with a number of five digits, as long for a small tree as for a large one.
std::string Numbered(std::string name, std::size_t number) {
  const std::string digits = std::to_string(number);
  return name.append(5 - std::min<std::size_t>(digits.size(), 5), '0') + digits;
}

/// Adds a menu and lists it in its parent.
void AddMenu(NodeMap& tree, const std::string& parent, const std::string& path) {
  tree[parent].values.push_back(path);
  tree[path].kind = NODE_MENU;
}

void AddSetting(NodeMap& tree, const std::string& menu, std::size_t number,
                Query::TextMapPool& choices) {
  const std::string path = Numbered(menu + "/Port Mode ", number);
  tree[menu].values.push_back(path);
  _XNode& setting = tree[path];
  setting.values = {std::to_string(number % 4)};
  setting.options =
      choices.Of({{"0", "Disabled"}, {"1", "Enabled"}, {"2", "Automatic"}, {"3", "On request"}});
}

SDK::SavenRestoreOptions OptionsFor(const std::string& path) {
  SDK::SavenRestoreOptions options = {};
  path.copy(options.fileName, sizeof options.fileName - 1);
  return options;
}

[[noreturn]] void RaiseErrno(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

NodeMap MakeSetupTree(std::size_t settings) {
  const std::size_t menus = std::max<std::size_t>(settings / kSettingsPerMenu, 1);
  std::size_t menusPerGroup = 1;
  while (menusPerGroup * menusPerGroup < menus) ++menusPerGroup;

  NodeMap tree;
  tree["/BIOS"].kind = NODE_MENU;
  AddMenu(tree, "/BIOS", kTopMenu);
  Query::TextMapPool choices;
  std::string group;
  std::string menu;
  for (std::size_t number = 0; number < settings; ++number) {
    if (number % (kSettingsPerMenu * menusPerGroup) == 0) {
      group = Numbered(std::string(kTopMenu) + "/Socket ", number / kSettingsPerMenu);
      AddMenu(tree, kTopMenu, group);
    }
    if (number % kSettingsPerMenu == 0) {
      menu = Numbered(group + "/Controller ", number / kSettingsPerMenu);
      AddMenu(tree, group, menu);
    }
    AddSetting(tree, menu, number, choices);
  }
  return tree;
}

void MemoryProvider::Read(const std::string& path, NodeMap& results) {
  Query::ReadNodes(tree_, path, results);
}

void MemoryProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  written_ += settings.size();
}

void MemoryProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                     const std::string& /*password*/) {
  Write(settings, true, false);
}

void MemoryProvider::WriteGroup(const std::string& /*path*/, const SDK::SettingMap& /*settings*/) {}

MountedMachine::MountedMachine(NodeMap tree)
    : provider_(std::make_shared<MemoryProvider>(std::move(tree))) {
  for (const char* name : {"BMC", "BIOS", "SMBIOS"}) {
    SDK::XDirectorImpl::CreateInstance()->Mount(name, provider_);
  }
  Platform::PlatformImpl::inst = nullptr;  // forgets the platform of an earlier machine
}

MountedMachine::~MountedMachine() {
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
}

ScratchFile::ScratchFile(const std::string& name) : folder_("/dev/shm/saverestore-bench-XXXXXX") {
  if (mkdtemp(folder_.data()) == nullptr) RaiseErrno(folder_);
  path_ = folder_ + "/" + name;
}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string ScratchFile::Text() const {
  std::ifstream file(path_, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file || !text) RaiseErrno(path_);
  return std::move(text).str();
}

void ScratchFile::SetText(std::string_view text) const {
  FILE* file = std::fopen(path_.c_str(), "w");
  if (file == nullptr) RaiseErrno(path_);
  const bool complete = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !complete) RaiseErrno(path_);
}

void SaveBios(const std::string& path) {
  SDK::SaveRestore module;
  module.Save(OptionsFor(path));
}

void RestoreBios(const std::string& path) {
  SDK::SavenRestoreOptions options = OptionsFor(path);
  options.skipSystemCheck = options.skipBootOrder = true;
  SDK::SaveRestore module;
  module.Restore(options);
}

std::string SavedText(std::size_t settings) {
  const MountedMachine machine(MakeSetupTree(settings));
  const ScratchFile file("saved.ini");
  SaveBios(file.Path());
  return file.Text();
}

}  // namespace Bench
