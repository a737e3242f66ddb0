#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/Wipe.h"
#include "providers/ipmi/Bmc.h"
#include "query/QueryProvider.h"

namespace Ipmi {

/// A management controller, by IPMI 2.0. Mount it for "BMC"; of "SMBIOS" it knows the BIOS version
/// alone, where the BMC has that.
///
/// Answers of the BMC are kept as long as the provider and forgotten when a write touches them. A
/// setting that the BMC does not support has no node. Writes are as `WriteSettings` does them: what
/// is equal is not sent, and what is sent is read back. Groups wait for the next batch and go out
/// with it, so that a restore which ends before has sent nothing.
class IpmiProvider final : public SDK::QueryProvider {
 public:
  explicit IpmiProvider(std::unique_ptr<Transport> transport, const Patience& patience = {})
      : bmc_(std::move(transport), patience) {}

  void Read(const std::string& path, NodeMap& results) override;
  void Expect(const std::vector<std::string>& trees) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  /// \throws ResultStatus  NoSuchForm: a BMC has no BIOS settings.
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return {}; }
  std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings) override;
  void UsePasswords(const SDK::SettingMap& passwords) override;
  std::vector<SDK::WriteNote> TakeWriteNotes() override;
  void Restart(bool mayForce, std::chrono::seconds limit) override;

 private:
  Bmc bmc_;
  std::vector<SDK::WriteNote> notes_;
  SDK::SettingMap queued_;  // by groups, for the next batch
  SDK::SettingMap passwords_;
  Common::WipeOnExit<SDK::SettingMap> wipe_{passwords_};
};

}  // namespace Ipmi
