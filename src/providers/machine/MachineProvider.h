#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "providers/machine/MachineStore.h"
#include "query/QueryProvider.h"

namespace Machine {

/// The embedded machine: a server that lives in a machine file. Mount it for "BMC", "BIOS" and
/// "SMBIOS".
///
/// A write checks every value before it changes anything, and reaches the disk whole or not at all,
/// and not over what another process has written since this one has read the file. A value is
/// refused when its path is unknown, its node is a menu, or it is outside the node's options or
/// limits: nothing of the batch is written then. A read-only setting is refused alone and noted;
/// such a refusal in a group is raised by the next batch. Writing the value that a node already has
/// is no change and always accepted, and so is an empty value for a path that names nothing.
class MachineProvider final : public SDK::QueryProvider {
 public:
  /// Loads the machine file at `path`.
  /// \throws ResultStatus  TargetMissing, NotPermitted, TargetMalformed.
  explicit MachineProvider(std::string path);

  void Read(const std::string& path, NodeMap& results) override;
  /// Reads the file again. \throws ResultStatus  as the constructor.
  void Refresh() override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override;
  std::vector<SDK::WriteNote> TakeWriteNotes() override;

 private:
  void CheckPassword(std::string_view password) const;
  [[nodiscard]] SDK::SettingMap ChangesIn(const SDK::SettingMap& settings);
  void Apply(const SDK::SettingMap& settings);
  void RaisePostponed();

  MachineStore store_;
  MachineImage machine_;
  std::vector<SDK::WriteNote> notes_;
  std::vector<SDK::WriteNote> postponed_;  ///< refusals that no batch has raised yet
  std::size_t writes_ = 0;                 ///< since then
};

}  // namespace Machine
