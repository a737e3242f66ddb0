#include "tool/targets/LocalTarget.h"

#include <cstdlib>

#include "common/ErrorManager.h"
#include "common/Logger.h"
#include "common/ResultStatus.h"
#include "providers/host/HostProvider.h"
#ifdef SAVERESTORE_IPMI
#include "tool/targets/IpmiTarget.h"
#endif

namespace Tool {
namespace {

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

class LocalKind final : public TargetKind {
 public:
  void WaitFor(std::chrono::seconds time) override { patience_ = time; }

  /// A machine without a BMC, or without the driver for it, has its BIOS all the same.
  [[nodiscard]] Planning::Mounts Open(const std::string& /*place*/,
                                      const PasswordSource& /*bmcPassword*/) const override {
    const auto provider = std::make_shared<Host::HostProvider>(LocalRoots());
    Planning::Mounts mounts = {{"BIOS", {provider}}, {"SMBIOS", {provider}}};
#ifdef SAVERESTORE_IPMI
    try {
      mounts["BMC"] = {OpenLocalBmc(LocalBmcDevice(), patience_)};
    } catch (const ResultStatus& failure) {
      const bool isRefused = failure.getval() == ErrorManager::NotPermitted;
      if (isRefused) mounts["BMC"] = Planning::Refused(failure);
      LOGGER::Logger::CreateInstance()->Log(LOGGER::Warning, "src/tool", "OpenLocal", __LINE__,
                                            "the BMC of this machine is left out: %s",
                                            failure.message().c_str());
    }
#endif
    return mounts;
  }

 private:
  std::chrono::seconds patience_{0};  ///< with the BMC; 0 for the usual one
};

}  // namespace

std::unique_ptr<TargetKind> MakeLocalKind() {
  return std::make_unique<LocalKind>();
}

}  // namespace Tool
