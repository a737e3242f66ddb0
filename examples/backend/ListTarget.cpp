// A back end outside the tree: servers that are a list of lines PATH=VALUE, "list:FILE".
#include <array>
#include <fstream>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "query/NodeTree.h"
#include "targets/TargetKind.h"

namespace {

class ListProvider final : public SDK::QueryProvider {
 public:
  ListProvider(std::string file, bool isReadOnly)
      : file_(std::move(file)), isReadOnly_(isReadOnly) {
    std::ifstream lines(file_);
    if (!lines) ErrorManager::Raise(ErrorManager::TargetMissing, file_);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t equals = line.find('=');
      if (equals != std::string::npos)
        nodes_[line.substr(0, equals)].values = {line.substr(equals + 1)};
    }
  }

  void Read(const std::string& path, NodeMap& results) override {
    Query::ReadNodes(nodes_, path, results);
  }

  void Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) override {
    NodeMap changed = nodes_;
    for (const auto& [path, value] : settings) {
      const auto node = changed.find(path);
      if (node == changed.end() && value.empty())
        continue;  // a save writes that for what is absent
      if (node == changed.end()) ErrorManager::Raise(ErrorManager::NoSuchNode, path);
      if (isReadOnly_) ErrorManager::Raise(ErrorManager::ReadOnlyNode, path, value);
      node->second.values = {value};
    }
    Common::AtomicFile file(file_);
    for (const auto& [path, node] : changed) file.Write(path + "=" + node.values.front() + "\n");
    file.Commit(Common::AtomicFile::Existing::Replace);
    nodes_ = changed;
  }

  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& /*password*/) override {
    Write(settings, true, false);
  }

  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override {
    SDK::SettingMap batch;
    for (const auto& [name, value] : settings) batch.emplace(path + "/" + name, value);
    Write(batch, false, false);
  }

  std::string PlatformName() override { return {}; }

 private:
  std::string file_;
  bool isReadOnly_;
  NodeMap nodes_;
};

Planning::Mounts Open(const Targets::OpenRequest& request) {
  const auto provider =
      std::make_shared<ListProvider>(request.place, request.options.Has("--list-read-only"));
  return {{"BMC", {provider}}, {"SMBIOS", {provider}}};
}

constexpr auto kOptions = std::to_array<Targets::Option>({
    {"--list-read-only", "", "Leave the list as it is"},
});
constexpr auto kRows = std::to_array<Targets::TargetRow>({
    {"list", "list:FILE", "a list of lines PATH=VALUE", kOptions, Open},
});
constexpr Targets::Module kModule{kRows.data(), kRows.size()};

}  // namespace

const Targets::Module* saverestore_module_1() {
  return &kModule;
}
