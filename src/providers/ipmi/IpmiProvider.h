#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "providers/ipmi/Bmc.h"
#include "query/QueryProvider.h"

namespace Ipmi {

/// A management controller, by IPMI 2.0. Mount it for "BMC"; of "SMBIOS" it knows the BIOS version
/// alone, where the BMC has that.
///
/// Answers of the BMC are kept as long as the provider and forgotten when a write touches them. A
/// setting that the BMC does not support has no node. Writes are as `WriteSettings` does them: what
/// is equal is not sent, and what is sent is read back.
class IpmiProvider final : public SDK::QueryProvider {
 public:
  explicit IpmiProvider(std::unique_ptr<Transport> transport) : bmc_(std::move(transport)) {}

  void Read(const std::string& path, NodeMap& results) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  /// \throws ResultStatus  NoSuchForm: a BMC has no BIOS settings.
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return {}; }
  std::vector<SDK::WriteNote> TakeWriteNotes() override;

 private:
  Bmc bmc_;
  std::vector<SDK::WriteNote> notes_;
  // Of group writes, for the next batch to raise.
  std::vector<SDK::WriteNote> postponed_;
  std::size_t postponedChanges_ = 0;
};

}  // namespace Ipmi
