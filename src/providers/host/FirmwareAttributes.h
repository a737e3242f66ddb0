#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "providers/host/Attribute.h"
#include "providers/host/KernelFile.h"
#include "query/QueryProvider.h"

namespace Host {

/// BIOS settings as Linux shows them: /sys/class/firmware-attributes, one folder for each driver
/// (the kernel's documentation: ABI/testing/sysfs-class-firmware-attributes).
///
/// Each driver that shows settings is a menu "/BIOS/Advanced/DRIVER", and a setting of it is
/// "/BIOS/Advanced/DRIVER/NAME" with the display name, or without one the attribute's, a "/" in it
/// as "%2F". Display names that are alike get the attribute's name behind them. The settings come
/// in the order of the attributes' names. One whose value the kernel cannot tell, or that is no
/// plain text, has its flag set: it is neither saved nor restored. A read-only one is saved;
/// writing another value is refused for it alone, and so is one that the driver's own terms rule
/// out.
class FirmwareAttributes {
 public:
  /// Looks at the machine. `folder` is /sys/class/firmware-attributes; it may be missing.
  /// \throws ResultStatus  NotPermitted.
  explicit FirmwareAttributes(const std::filesystem::path& folder);

  /// Adds the menu "/BIOS/Advanced" with all below it to `nodes`, unless there is no setting.
  /// \return true when there is one
  bool AddTo(NodeMap& nodes) const;

  [[nodiscard]] bool Has(const std::string& path) const { return attributes_.contains(path); }

  /// True when the setting at `path` has `value` already.
  [[nodiscard]] bool HasValue(const std::string& path, const std::string& value) const;

  /// Checks whether the setting at `path` takes `value`, as far as the kernel says what it takes.
  /// \throws ResultStatus  ValueRefused, NotPermitted.
  void Check(const std::string& path, const std::string& value) const;

  /// Why a password cannot be the administrator's, as far as the kernel says; empty when it can.
  [[nodiscard]] std::string PasswordObjection(const std::string& password) const;

  /// Writes settings that `Check` has passed, each only where it differs, driver by driver.
  /// \throws ResultStatus  as `WriteToDriver`.
  void Write(const SDK::SettingMap& settings, const std::string& password,
             const KernelWriter& write, std::vector<SDK::WriteNote>& notes) const;

 private:
  struct Driver {
    std::filesystem::path folder;
    std::string menu;                           ///< its path
    std::vector<std::string> settings;          ///< their paths, in order
    std::map<std::string, std::string> byName;  ///< the path of an attribute by its own name
    bool needsPassword = false;
  };

  void AddDriver(const std::filesystem::path& folder);
  [[nodiscard]] ValueOf ValuesOf(const Driver& driver) const;

  std::vector<Driver> drivers_;
  std::map<std::string, Attribute> attributes_;  ///< by path
};

}  // namespace Host
