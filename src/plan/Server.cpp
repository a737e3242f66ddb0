#include "plan/Server.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "common/ErrorManager.h"
#include "query/XDirector.h"

namespace Planning {

Server::Server(const Mounts& mounts, QueryObserver observer) {
  QueryObserver watch;
  watch.onQuery = [this, observer](const std::string& path) {
    if (observer.onQuery) observer.onQuery(path);
    ++queries_;
  };
  watch.onFailure = [this, observer](const std::string& path, const ResultStatus& failure) {
    if (observer.onFailure) observer.onFailure(path, failure);
    if (ErrorManager::SaysNothing(failure.getval()) && !silence_) silence_ = failure;
  };
  mounts_ = Wrapped(mounts, [&](const std::shared_ptr<SDK::QueryProvider>& provider) {
    return std::make_shared<ObservedProvider>(provider, watch);
  });
  MountTarget(mounts_);
}

Server::~Server() {
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
}

void Server::ThrowIfSilent() const {
  if (silence_) throw ResultStatus(*silence_);
}

void Server::Refresh() const {
  std::set<SDK::QueryProvider*> refreshed;  // one may be for several trees
  for (const auto& [tree, mount] : mounts_) {
    if (refreshed.insert(mount.provider.get()).second) mount.provider->Refresh();
  }
}

void Server::Expect(Mode mode) const {
  std::map<SDK::QueryProvider*, std::vector<std::string>> trees;  // one may be for several
  for (const auto& [tree, mount] : mounts_) {
    if (NeedsTree(mode, tree)) trees[mount.provider.get()].push_back(tree);
  }
  for (const auto& [provider, all] : trees) provider->Expect(all);
}

std::vector<SDK::WriteForesight> Server::Foresee(const SDK::SettingMap& settings) const {
  std::map<std::string, SDK::SettingMap> byTree;  // a batch goes to one back end
  byTree["BIOS"];                                 // that may have to say something of all files
  for (const auto& [path, value] : settings) {
    byTree[path.substr(1, path.find('/', 1) - 1)].emplace(path, value);
  }
  std::vector<SDK::WriteForesight> foresight;
  for (const auto& [tree, batch] : byTree) {
    const auto mount = mounts_.find(tree);
    if (mount == mounts_.end()) continue;
    std::ranges::move(mount->second.provider->Foresee(batch), std::back_inserter(foresight));
  }
  return foresight;
}

std::vector<SDK::BootMessage> Server::BootMessages() const {
  const auto bios = mounts_.find("BIOS");
  if (bios == mounts_.end()) return {};
  return bios->second.provider->BootMessages();
}

}  // namespace Planning
