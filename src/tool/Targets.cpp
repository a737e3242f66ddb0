#include "tool/Targets.h"

#include <algorithm>
#include <array>

#include "common/ErrorManager.h"
#include "common/Platform.h"
#include "providers/machine/MachineProvider.h"
#include "query/XDirector.h"
#include "tool/ExitCodes.h"
#include "tool/Interrupt.h"
#include "tool/ObservedProvider.h"

namespace Tool {
namespace {

std::shared_ptr<SDK::QueryProvider> OpenMachine(const std::string& place) {
  return std::make_shared<Machine::MachineProvider>(place);
}

constexpr auto kTargetKinds = std::to_array<TargetKind>({
    {"machine", "machine:FILE", "a simulated server that lives in a JSON file", OpenMachine},
});

constexpr auto kTrees = std::to_array<const char*>({"BMC", "BIOS", "SMBIOS"});

/// A simulated machine must never be taken for the real one, so no kind is the default.
std::string HowToChoose() {
  std::string text = "Choose one:";
  for (const TargetKind& kind : kTargetKinds) text += std::string(" --target ") + kind.form;
  return text + ". \"saverestore targets\" says what each is.";
}

}  // namespace

std::span<const TargetKind> TargetKinds() {
  return kTargetKinds;
}

std::shared_ptr<SDK::QueryProvider> OpenTarget(const std::string& target) {
  if (target.empty()) throw ToolError(ExitUsage, "no --target is given. " + HowToChoose());
  const std::size_t colon = target.find(':');
  const std::string scheme = target.substr(0, colon);
  const auto* kind = std::ranges::find(kTargetKinds, scheme, &TargetKind::scheme);
  if (kind == kTargetKinds.end() || colon == std::string::npos || colon + 1 == target.size()) {
    throw ToolError(ExitUsage, "\"" + target + "\" is no target. " + HowToChoose());
  }
  return kind->open(target.substr(colon + 1));
}

void MountTarget(const std::shared_ptr<SDK::QueryProvider>& provider) {
  for (const char* tree : kTrees) SDK::XDirectorImpl::CreateInstance()->Mount(tree, provider);
  Platform::PlatformImpl::inst = nullptr;  // the platform of an earlier target is forgotten
}

WatchedTarget::WatchedTarget(const TargetOpener& open, const Messages& messages,
                             Progress* progress) {
  QueryObserver observer;
  observer.onQuery = [this, &messages, progress](const std::string& path) {
    ThrowIfInterrupted();
    ++queries_;
    if (progress != nullptr) progress->Query();
    messages.Detail("query " + path);
  };
  observer.onFailure = [this, &messages](const std::string& path, const ResultStatus& failure) {
    messages.Detail("query " + path + ": " + failure.message());
    const bool saysNothing = failure.getval() == ErrorManager::Unreachable ||
                             failure.getval() == ErrorManager::NotPermitted;
    if (saysNothing && !silence_) silence_ = failure;
  };
  provider_ = std::make_shared<ObservedProvider>(open(), observer);
  MountTarget(provider_);
}

WatchedTarget::~WatchedTarget() {
  SDK::XDirectorImpl::CreateInstance()->UnmountAll();
}

void WatchedTarget::ThrowIfSilent() const {
  if (silence_) throw ResultStatus(*silence_);
}

}  // namespace Tool
