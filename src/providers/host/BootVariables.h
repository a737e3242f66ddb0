#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "providers/host/KernelFile.h"
#include "query/QueryProvider.h"

namespace Host {

/// The boot order in the UEFI variables BootOrder and Boot#### (UEFI specification, "Boot
/// Manager"), which Linux shows as files in efivarfs: four bytes of attributes, then the data.
///
/// "/BIOS/BootOrder[p]" is the entry at position p, its value the description of the load option.
/// No two names are alike: of entries with one description the one of the lowest number has it as
/// its name, so that it keeps it when another comes, and with the others "(Boot0003)" stands behind
/// it. An entry whose load option is missing or broken keeps its place under
/// the name "Boot0003".
class BootVariables {
 public:
  /// Reads the order. `folder` is /sys/firmware/efi/efivars; a machine without it, or without a
  /// BootOrder, has no boot order. \throws ResultStatus  NotPermitted, BadAnswer.
  explicit BootVariables(std::filesystem::path folder);

  /// Adds "/BIOS/BootOrder" and its positions to `nodes`, if there is a boot order.
  void AddTo(NodeMap& nodes) const;

  /// True for the path of a position.
  [[nodiscard]] bool Has(const std::string& path) const;

  /// The order with the entries that `writes` (path to name) puts at their positions.
  /// \throws ResultStatus  ValueRefused: no entry has that name, or one would stand twice.
  [[nodiscard]] std::vector<std::uint16_t> OrderWith(const SDK::SettingMap& writes) const;

  /// \throws ResultStatus  NotPermitted: nobody, or not this user, may write the order.
  void CheckWritable() const;

  /// Writes the whole order in one call, with the attributes that the variable had, and reads it
  /// back. \return what became of it when it is not done: a note without a path; else nothing
  /// \throws ResultStatus  NotPermitted.
  [[nodiscard]] std::vector<SDK::WriteNote> Write(const std::vector<std::uint16_t>& order,
                                                  const KernelWriter& write) const;

 private:
  struct Entry {
    std::uint16_t number;
    std::string name;
  };

  [[nodiscard]] std::filesystem::path FileOf(const std::string& variable) const;
  [[nodiscard]] std::string Description(std::uint16_t number) const;

  std::filesystem::path folder_;
  std::string attributes_;  ///< the four bytes of BootOrder
  std::vector<Entry> entries_;
};

}  // namespace Host
