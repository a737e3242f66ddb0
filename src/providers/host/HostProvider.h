#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "providers/host/KernelFile.h"
#include "query/QueryProvider.h"

namespace Host {

class FirmwareAttributes;
class BootVariables;

/// Where the kernel shows the machine.
struct HostRoots {
  std::filesystem::path sysfs = "/sys";
  std::filesystem::path efivarfs = "/sys/firmware/efi/efivars";
  KernelWriter write = WriteBytes;
};

/// The machine that this process runs on, as far as Linux knows its firmware. Mount it for "BIOS"
/// and "SMBIOS".
///
/// - Firmware attributes (FirmwareAttributes.h) are the settings, below "/BIOS/Advanced".
/// - The UEFI boot order (BootVariables.h) is "/BIOS/BootOrder".
/// - The SMBIOS tables (DmiFacts.h) give BIOS version, board and platform.
/// - "/BIOS/UEFI231Aware" reads "True": firmware of this kind has all its menus below Advanced.
///
/// The machine is read once, again before a write, and anew after it. A batch is checked as a whole
/// before the first write; then one refused setting does not stop the others.
///
/// The kernel cannot check a password by itself. So a check refuses a password where none is set,
/// and an empty one where one is, and one that by its length cannot be the one; any other passes,
/// and shows with the first write, which the firmware denies if it is wrong. Nothing has been
/// written to that driver then. A password from a check in the
/// form "password-password" is kept for the batch that follows, which brings none of its own.
class HostProvider final : public SDK::QueryProvider {
 public:
  explicit HostProvider(HostRoots roots = {});
  ~HostProvider() override;

  void Read(const std::string& path, NodeMap& results) override;
  void Refresh() override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override;
  std::vector<SDK::WriteNote> TakeWriteNotes() override;

 private:
  [[nodiscard]] FirmwareAttributes Attributes() const;
  [[nodiscard]] std::filesystem::path DmiFolder() const;
  [[nodiscard]] NodeMap TreeOf(const FirmwareAttributes& attributes,
                               const BootVariables& boot) const;
  void CheckPassword(std::string_view password) const;
  void Apply(const SDK::SettingMap& settings, const std::string& password);

  HostRoots roots_;
  std::optional<NodeMap> tree_;  ///< none: to be read again
  std::string password_;         ///< from a check, for the next batch
  std::vector<SDK::WriteNote> notes_;
};

}  // namespace Host
