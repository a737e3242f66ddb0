#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "query/QueryProvider.h"

namespace Host {

/// BIOS settings as Linux shows them: /sys/class/firmware-attributes, one folder for each driver
/// (the kernel's documentation: ABI/testing/sysfs-class-firmware-attributes).
///
/// Each driver that shows settings is a menu "/BIOS/Advanced/DRIVER", and a setting of it is
/// "/BIOS/Advanced/DRIVER/NAME" with the display name, or without one the attribute's, a "/" in it
/// as "%2F". Display names that are
/// alike get the attribute's name behind them. The settings come in the order of the attributes'
/// names. One whose value the kernel cannot tell, or that is no plain text, has its flag set: it is
/// neither saved nor restored. A read-only one is saved; writing another value is refused for it
/// alone.
class FirmwareAttributes {
 public:
  /// Looks at the machine. `folder` is /sys/class/firmware-attributes; it may be missing.
  /// \throws ResultStatus  NotPermitted.
  explicit FirmwareAttributes(const std::filesystem::path& folder);

  /// Adds the menu "/BIOS/Advanced" with all below it to `nodes`, unless there is no setting.
  /// \return true when there is one
  bool AddTo(NodeMap& nodes) const;

  [[nodiscard]] bool Has(const std::string& path) const { return attributes_.contains(path); }

  /// Checks whether the setting at `path` takes `value`, as far as the kernel says what it takes.
  /// \throws ResultStatus  ValueRefused, NotPermitted.
  void Check(const std::string& path, const std::string& value) const;

  /// True when some driver takes a write only with the BIOS administrator password.
  [[nodiscard]] bool NeedsPassword() const;

  /// Writes settings that `Check` has passed, each only where it differs, and reads each back. Of
  /// those that are not simply done there is a note in `notes`. A driver with an administrator
  /// password is given it for the time of its writes, and one that can save many writes in one go
  /// does so with more than 40.
  /// \throws ResultStatus  PasswordRefused: a write was denied before one with the password was
  ///                       taken; no other was tried, since firmware counts wrong passwords.
  ///                       WriteFailed: the kernel does not take or forget the password.
  void Write(const SDK::SettingMap& settings, const std::string& password,
             std::vector<SDK::WriteNote>& notes) const;

 private:
  enum class Type { Text, Enumeration, Integer };

  struct Attribute {
    std::filesystem::path folder;
    Type type = Type::Text;
    bool isWritable = false;
    std::optional<std::int64_t> low;   ///< of an integer its value, of a text its bytes
    std::optional<std::int64_t> high;  ///< likewise
    std::int64_t step = 1;             ///< of an integer, from `low` on
    _XNode node;
  };

  struct Driver {
    std::filesystem::path folder;
    std::string menu;                   ///< its path
    std::vector<std::string> settings;  ///< their paths, in order
    bool needsPassword = false;
  };

  [[nodiscard]] static Attribute ReadAttribute(const std::filesystem::path& folder);
  [[nodiscard]] static std::string Objection(const Attribute& attribute, const std::string& value);
  [[nodiscard]] std::filesystem::path ValueFileOf(const std::string& path) const;
  void AddDriver(const std::filesystem::path& folder);
  void WriteDriver(const Driver& driver, const SDK::SettingMap& settings,
                   const std::string& password, std::vector<SDK::WriteNote>& notes) const;

  std::vector<Driver> drivers_;
  std::map<std::string, Attribute> attributes_;  ///< by path
};

}  // namespace Host
