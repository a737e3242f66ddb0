#include "tool/targets/Targets.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "common/Logger.h"
#ifdef SAVERESTORE_HOST
#include "providers/host/HostProvider.h"
#endif
#include "providers/machine/MachineProvider.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"
#ifdef SAVERESTORE_IPMI
#include "tool/targets/IpmiTarget.h"
#endif
#ifdef SAVERESTORE_REDFISH
#include "tool/targets/RedfishTarget.h"
#endif

namespace Tool {
namespace {

Planning::Mounts OpenMachine(const std::string& place, const TargetOptions& /*options*/) {
  return Planning::AllTrees(std::make_shared<Machine::MachineProvider>(place));
}

#ifdef SAVERESTORE_HOST
/// The directories of the kernel, or those that a rehearsal or a test puts in their place.
Host::HostRoots LocalRoots() {
  Host::HostRoots roots;
  if (const char* sysfs = std::getenv("SAVERESTORE_SYSFS")) roots.sysfs = sysfs;
  roots.efivarfs = roots.sysfs / "firmware/efi/efivars";
  if (const char* efivarfs = std::getenv("EFIVARFS_PATH")) roots.efivarfs = efivarfs;
  return roots;
}

#ifdef SAVERESTORE_IPMI
/// The kernel's IPMI device. A rehearsal in directories must not reach the real BMC.
std::string LocalBmcDevice() {
  const char* sysfs = std::getenv("SAVERESTORE_SYSFS");
  return sysfs == nullptr ? "/dev/ipmi0" : std::string(sysfs) + "/ipmi0";
}
#endif

/// A machine without a BMC, or without the driver for it, has its BIOS all the same.
Planning::Mounts OpenLocal(const std::string& /*place*/, const TargetOptions& /*options*/) {
  const auto provider = std::make_shared<Host::HostProvider>(LocalRoots());
  Planning::Mounts mounts = {{"BIOS", {provider}}, {"SMBIOS", {provider}}};
#ifdef SAVERESTORE_IPMI
  try {
    mounts["BMC"] = {OpenLocalBmc(LocalBmcDevice())};
  } catch (const ResultStatus& failure) {
    LOGGER::Logger::CreateInstance()->Log(LOGGER::Warning, "src/tool", "OpenLocal", __LINE__,
                                          "the BMC of this machine is left out: %s",
                                          failure.message().c_str());
  }
#endif
  return mounts;
}
#endif

constexpr auto kTargetKinds = std::to_array<TargetKind>({
#ifdef SAVERESTORE_HOST
    {"local", "local", "the machine that the tool runs on, as Linux shows it", OpenLocal},
#endif
    {"machine", "machine:FILE", "a simulated server that lives in a JSON file", OpenMachine},
#ifdef SAVERESTORE_IPMI
    {"ipmi", "ipmi:[USER@]HOST[:PORT]", "a management controller (BMC), by IPMI 2.0", OpenIpmi},
#endif
#ifdef SAVERESTORE_REDFISH
    {"redfish", "redfish:[USER@]HOST[:PORT][/SYSTEM]",
     "the BIOS of a server, over the Redfish service of its BMC", OpenRedfish},
#endif
});

bool TakesPlace(const TargetKind& kind) {
  return std::string_view(kind.form).find(':') != std::string_view::npos;
}

/// A simulated machine must never be taken for the real one, so no kind is the default.
std::string HowToChoose() {
  std::string text = "Choose one:";
  for (const TargetKind& kind : kTargetKinds) text += std::string(" --target ") + kind.form;
  return text + ". \"saverestore targets\" says what each is.";
}

Planning::Mounts OpenOne(const std::string& target, const TargetOptions& options) {
  const std::size_t colon = std::min(target.find(':'), target.size());
  const auto* kind = std::ranges::find(kTargetKinds, target.substr(0, colon), &TargetKind::scheme);
  const std::string place = target.substr(std::min(colon + 1, target.size()));
  if (kind == kTargetKinds.end() || TakesPlace(*kind) == place.empty()) {
    throw ToolError(ExitUsage, "\"" + target + "\" is no target. " + HowToChoose());
  }
  return kind->open(place, options);
}

}  // namespace

std::span<const TargetKind> TargetKinds() {
  return kTargetKinds;
}

Planning::Mounts OpenTargets(const std::vector<std::string>& targets,
                             const TargetOptions& options) {
  if (targets.empty()) throw ToolError(ExitUsage, "no --target is given. " + HowToChoose());
  Planning::Mounts mounts;
  for (const std::string& target : targets) {
    for (auto& [tree, opened] : OpenOne(target, options)) {
      Planning::Mount& mount = mounts[tree];
      if (mount.provider && opened.isStandIn) continue;
      if (mount.provider && !mount.isStandIn) {
        throw ToolError(ExitUsage, "\"" + target + "\" is for " + tree +
                                       ", which an earlier --target is for already");
      }
      mount = opened;
    }
  }
  return mounts;
}

Planning::QueryObserver Watching(const Messages& messages, Progress* progress) {
  Planning::QueryObserver observer;
  observer.onQuery = [&messages, progress](const std::string& path) {
    ThrowIfInterrupted();
    if (progress != nullptr) progress->Query();
    messages.Detail("query " + path);
  };
  observer.onFailure = [&messages](const std::string& path, const ResultStatus& failure) {
    messages.Detail("query " + path + ": " + failure.message());
  };
  return observer;
}

}  // namespace Tool
