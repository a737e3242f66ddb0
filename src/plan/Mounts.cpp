#include "plan/Mounts.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/ErrorManager.h"
#include "common/Platform.h"
#include "plan/Failure.h"
#include "query/XDirector.h"

namespace Planning {
namespace {

constexpr const char* kBmcTree = "BMC";
constexpr const char* kBiosTree = "BIOS";
constexpr auto kTrees = std::to_array<const char*>({kBmcTree, kBiosTree, "SMBIOS"});

/// A half of a server, and the mode that does without it.
struct Need {
  const char* tree;
  Mode without;
};
constexpr auto kNeeds = std::to_array<Need>({{kBiosTree, ModeBmc}, {kBmcTree, ModeBios}});

/// True when a target is there for `tree`; a stand-in is not worth one.
bool Covers(const Mounts& mounts, const char* tree) {
  const auto mount = mounts.find(tree);
  return mount != mounts.end() && (!mount->second.isStandIn || mount->second.refusal);
}

/// The provider of a tree that may not be used.
class NoAccess final : public SDK::QueryProvider {
 public:
  explicit NoAccess(const ResultStatus& refusal)
      : refusal_(refusal) {}  // NOLINT(bugprone-throw-keyword-missing): kept

  void Read(const std::string& path, NodeMap& /*results*/) override {
    ErrorManager::Raise(ErrorManager::NoSuchNode, path);
  }
  void Write(const SDK::SettingMap& /*settings*/, bool /*isBios*/, bool /*reserved*/) override {
    throw ResultStatus(refusal_);
  }
  void WriteAuthorised(const SDK::SettingMap& /*settings*/,
                       const std::string& /*password*/) override {
    throw ResultStatus(refusal_);
  }
  void WriteGroup(const std::string& /*path*/, const SDK::SettingMap& /*settings*/) override {
    throw ResultStatus(refusal_);
  }
  std::string PlatformName() override { return {}; }

 private:
  ResultStatus refusal_;
};

}  // namespace

Mount Refused(const ResultStatus& refusal) {
  return {std::make_shared<NoAccess>(refusal), true, refusal};
}

Mounts AllTrees(const std::shared_ptr<SDK::QueryProvider>& provider) {
  Mounts mounts;
  for (const char* tree : kTrees) mounts[tree] = {provider};
  return mounts;
}

void MountTarget(const Mounts& mounts) {
  auto* director = SDK::XDirectorImpl::CreateInstance();
  director->UnmountAll();
  for (const auto& [tree, mount] : mounts) director->Mount(tree, mount.provider);
  Platform::PlatformImpl::inst = nullptr;  // the platform of an earlier target is forgotten
}

Mounts Wrapped(const Mounts& mounts, const Wrapper& wrap) {
  std::map<SDK::QueryProvider*, std::shared_ptr<SDK::QueryProvider>> wrappers;
  Mounts wrapped;
  for (const auto& [tree, mount] : mounts) {
    auto& wrapper = wrappers[mount.provider.get()];
    if (!wrapper) wrapper = wrap(mount.provider);
    wrapped[tree] = {wrapper, mount.isStandIn, mount.refusal, mount.givesWay};
  }
  return wrapped;
}

AheadView::AheadView(const Mounts& mounts) : mounts_(mounts) {
  for (const auto& [tree, mount] : mounts_) mount.provider->LookAhead(true);
}

AheadView::~AheadView() {
  for (const auto& [tree, mount] : mounts_) mount.provider->LookAhead(false);
}

std::vector<SDK::WriteNote> TakeWriteNotes(const Mounts& mounts) {
  std::vector<SDK::WriteNote> all;
  for (const auto& [tree, mount] : mounts) {
    // A provider of several trees gives its notes at the first of them.
    for (SDK::WriteNote& note : mount.provider->TakeWriteNotes()) all.push_back(std::move(note));
  }
  return all;
}

Mode ModeOf(const Mounts& mounts) {
  const bool hasBios = Covers(mounts, kBiosTree);
  if (hasBios == Covers(mounts, kBmcTree)) return ModeAll;
  return hasBios ? ModeBios : ModeBmc;
}

bool NeedsTree(Mode mode, std::string_view tree) {
  return std::ranges::none_of(
      kNeeds, [&](const Need& need) { return need.tree == tree && need.without == mode; });
}

void CheckMode(const Mounts& mounts, Mode mode) {
  for (const Need& need : kNeeds) {
    if (mode == need.without) continue;
    if (Covers(mounts, need.tree)) {
      if (const auto& refusal = mounts.at(need.tree).refusal) throw ResultStatus(*refusal);
      continue;
    }
    throw Failure(Failure::Kind::Usage, std::string("the target has no ") + need.tree +
                                            "; use --mode " + NameOf(need.without) +
                                            ", or add a --target that has one");
  }
}

}  // namespace Planning
