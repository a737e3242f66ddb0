#pragma once

#include <string>
#include <string_view>

#include "providers/machine/MachineFile.h"
#include "query/QueryProvider.h"

namespace Machine {

/// The embedded machine: a server that lives in a machine file. Mount it for "BMC", "BIOS" and
/// "SMBIOS".
///
/// A write checks every value before it changes anything, and reaches the disk whole or not at all.
/// A value is refused when its path is unknown, its node is a menu or read-only, it is not among
/// the node's options, or outside its range or length. Writing the value that a node already has is
/// no change and always accepted, and so is an empty value for a path that names nothing.
class MachineProvider final : public SDK::QueryProvider {
 public:
  /// Loads the machine file at `path`.
  /// \throws ResultStatus  TargetMissing, NotPermitted, TargetMalformed.
  explicit MachineProvider(std::string path);

  void Read(const std::string& path, NodeMap& results) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override;

 private:
  void CheckPassword(std::string_view password) const;
  void CheckValue(const std::string& path, const std::string& value) const;
  void Apply(const SDK::SettingMap& settings);

  std::string path_;
  MachineImage machine_;
};

}  // namespace Machine
