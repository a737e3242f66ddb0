#include "query/XDirector.h"

#include <algorithm>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Platform.h"
#include "common/Wipe.h"

namespace SDK {
namespace {

constexpr std::string_view kBmcTree = "BMC";
constexpr std::string_view kBiosTree = "BIOS";

/// The first token of a path.
std::string_view TreeOf(std::string_view path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  return path.substr(0, path.find('/'));
}

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
  if (settings.empty()) {
    const auto mount = mounts_.find(isBios ? kBiosTree : kBmcTree);
    if (mount != mounts_.end()) mount->second->Write(settings, isBios, reserved);
    return;
  }
  const Common::WipeOnExit wipeWhole(settings);  // a batch may carry a password
  for (auto& [provider, part] : SplitByProvider(settings)) {
    const Common::WipeOnExit wipePart(part);
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
  const Common::WipeOnExit wipe(groups);
  for (const auto& [path, settings] : groups) static_cast<void>(ProviderOf(TreeOf(path), path));
  for (const auto& [path, settings] : groups) {
    ProviderOf(TreeOf(path), path).WriteGroup(path, settings);
  }
}

}  // namespace SDK
