#include "query/XDirector.h"

#include <algorithm>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Platform.h"
#include "common/Wipe.h"

namespace SDK {
namespace {

constexpr std::string_view kBmcTree = "BMC";

/// The first token of a path.
std::string_view TreeOf(std::string_view path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  return path.substr(0, path.find('/'));
}

/// Wipes every value of a batch when the scope ends: a batch may carry a password.
class WipeValues {
 public:
  explicit WipeValues(SettingMap& settings) : settings_(settings) {}
  WipeValues(const WipeValues&) = delete;
  WipeValues& operator=(const WipeValues&) = delete;
  ~WipeValues() {
    for (auto& [path, value] : settings_) Common::Wipe(value);
  }

 private:
  SettingMap& settings_;
};

}  // namespace

XDirectorImpl* XDirectorImpl::CreateInstance() {
  static XDirectorImpl instance;
  return &instance;
}

void XDirectorImpl::Mount(const std::string& tree, std::shared_ptr<QueryProvider> provider) {
  mounts_[tree] = std::move(provider);
  Platform::PlatformImpl::SetNameSource([this] { return PlatformName(); });
}

void XDirectorImpl::UnmountAll() {
  mounts_.clear();
}

QueryProvider& XDirectorImpl::ProviderOf(std::string_view tree, const std::string& path) const {
  const auto mount = mounts_.find(tree);
  if (mount == mounts_.end()) ErrorManager::Raise(ErrorManager::NotMounted, path);
  return *mount->second;
}

std::string XDirectorImpl::PlatformName() const {
  if (const auto bmc = mounts_.find(kBmcTree); bmc != mounts_.end()) {
    if (std::string name = bmc->second->PlatformName(); !name.empty()) return name;
  }
  for (const auto& [tree, provider] : mounts_) {
    if (std::string name = provider->PlatformName(); !name.empty()) return name;
  }
  return {};
}

std::map<QueryProvider*, SettingMap> XDirectorImpl::SplitByProvider(
    const SettingMap& settings) const {
  std::map<QueryProvider*, SettingMap> parts;
  for (const auto& [path, value] : settings) {
    parts[&ProviderOf(TreeOf(path), path)].emplace(path, value);
  }
  return parts;
}

void XDirectorImpl::ProcessXQuery(std::string path, NodeMap& results) {
  ProviderOf(TreeOf(path), path).Read(path, results);
}

void XDirectorImpl::ProcessXQuery(SettingMap settings, bool isBios, bool reserved) {
  const WipeValues wipeWhole(settings);
  for (auto& [provider, part] : SplitByProvider(settings)) {
    const WipeValues wipePart(part);
    provider->Write(part, isBios, reserved);
  }
}

void XDirectorImpl::ProcessXQuery(SettingMap settings, std::string password) {
  const Common::WipeOnExit wipePassword(password);
  for (const auto& [provider, part] : SplitByProvider(settings)) {
    provider->WriteAuthorised(part, password);
  }
}

void XDirectorImpl::ProcessXQuery(std::map<std::string, SettingMap> groups) {
  for (const auto& [path, settings] : groups) static_cast<void>(ProviderOf(TreeOf(path), path));
  for (auto& [path, settings] : groups) {
    const WipeValues wipe(settings);
    ProviderOf(TreeOf(path), path).WriteGroup(path, settings);
  }
}

}  // namespace SDK
