#include <array>
#include <cstdlib>
#include <filesystem>

#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "common/ResultStatus.h"
#include "plan/Failure.h"
#include "providers/host/HostProvider.h"
#include "targets/Rows.h"

namespace Targets {
namespace {

/// The directories of the kernel, or those that a rehearsal or a test puts in their place.
Host::HostRoots LocalRoots() {
  Host::HostRoots roots;
  if (const char* sysfs = std::getenv("SAVERESTORE_SYSFS")) roots.sysfs = sysfs;
  roots.efivarfs = roots.sysfs / "firmware/efi/efivars";
  if (const char* efivarfs = std::getenv("EFIVARFS_PATH")) roots.efivarfs = efivarfs;
  return roots;
}

/// The kernel's IPMI device. A rehearsal in directories must not reach the real BMC.
std::string LocalBmc() {
  const char* sysfs = std::getenv("SAVERESTORE_SYSFS");
  if (sysfs == nullptr) return "ipmi:/dev/ipmi0";
  return "ipmi:" + std::filesystem::absolute(sysfs).string() + "/ipmi0";
}

void WarnOfNoBmc(const std::string& why) {
  LOGGER::Logger::CreateInstance()->Log(LOGGER::Warning, "src/targets", "OpenLocal", __LINE__,
                                        "the BMC of this machine is left out: %s", why.c_str());
}

/// A machine without a BMC, or without the driver for it, has its BIOS all the same.
Planning::Mounts Open(const OpenRequest& request) {
  const auto provider = std::make_shared<Host::HostProvider>(LocalRoots());
  Planning::Mounts mounts = {{"BIOS", {provider}}, {"SMBIOS", {provider}}};
  try {
    mounts["BMC"] = request.frontend.Open(LocalBmc()).at("BMC");
  } catch (const ResultStatus& failure) {
    const bool isRefused = failure.getval() == ErrorManager::NotPermitted;
    if (isRefused) mounts["BMC"] = Planning::Refused(failure);
    WarnOfNoBmc(failure.message());
  } catch (const Planning::Failure& failure) {
    WarnOfNoBmc(failure.what());
  }
  return mounts;
}

constexpr auto kRows = std::to_array<TargetRow>({
    {"local", "local", "the machine that the tool runs on, as Linux shows it", {}, Open},
});

}  // namespace

std::span<const TargetRow> LocalRows() {
  return kRows;
}

}  // namespace Targets
