#pragma once

#include <string>
#include <vector>

#include "providers/redfish/BmcSettings.h"
#include "providers/redfish/BootOrder.h"
#include "providers/redfish/Dependencies.h"
#include "providers/redfish/Service.h"
#include "providers/redfish/SetupTree.h"
#include "query/QueryProvider.h"

namespace Redfish {

struct Batch;
struct Change;
struct Kept;

/// A server's BIOS and BMC as a Redfish service shows them. Mount it for "BIOS", "SMBIOS" and
/// "BMC". It is logged in from its construction to its destruction.
///
/// A read fetches what it needs, and each resource once. Settings change at the next boot, so a
/// write leaves the values as they are and a note that says pending. What counts for a write is
/// what would be after the boot: the present value is written too where another one waits.
class RedfishProvider final : public SDK::QueryProvider {
 public:
  /// Connects and logs in, see `Service`.
  RedfishProvider(const Endpoint& endpoint, const Credentials& credentials,
                  const std::string& system);

  void Read(const std::string& path, NodeMap& results) override;
  void Refresh() override;
  void Expect(const std::vector<std::string>& trees) override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;
  std::string PlatformName() override { return {}; }
  std::vector<SDK::WriteNote> TakeWriteNotes() override;
  std::vector<SDK::BootMessage> BootMessages() override;
  std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings) override;
  void UsePasswords(const SDK::SettingMap& passwords) override { bmc_.UsePasswords(passwords); }
  void LookAhead(bool isAhead) override { isAhead_ = isAhead; }
  void ClearWaiting() override;
  void Restart(bool mayForce, std::chrono::seconds limit) override;

 private:
  /// A part of the tree that is loaded as a whole.
  struct Part {
    const char* root;
    void (RedfishProvider::*load)();
  };
  static const Part kParts[];

  void LoadSetup();
  void LoadBootOrder();
  void LoadSystem();
  void LoadNextSetup();
  void LoadNextOrder();
  void LoadWaiting();
  void Load(const std::string& path);
  void Unload(const char* root);

  void WriteBios(const SDK::SettingMap& settings);
  void Apply(const SDK::SettingMap& settings);
  [[nodiscard]] Batch SortOut(const SDK::SettingMap& settings);
  void SortOut(const std::string& path, const std::string& value, Batch& batch);
  void CheckDependencies(Batch& batch);
  std::optional<Kept> ObstacleTo(const std::string& name, const Change& change,
                                 const ValueOf& values);
  std::size_t KeepBack(Batch& batch, const ValueOf& values);
  [[nodiscard]] std::string RegistryFault() const;
  void Send(Batch batch);
  [[nodiscard]] std::string NextValue(const std::string& path) const;
  void AskForRestart(bool mayForce);
  [[nodiscard]] bool IsBack(bool hasWaiting, const std::string& lastReset, bool& isRestarted);
  void CheckUnchanged(const std::string& path, const std::string& value);

  Service service_;
  BmcSettings bmc_;
  NodeMap nodes_;
  std::map<std::string, Attribute> attributes_;
  Dependencies dependencies_;
  std::vector<BootEntry> bootOrder_;
  std::vector<BootEntry> nextOrder_;  ///< after the boot
  SDK::SettingMap waiting_;           ///< what the boot changes, by path
  std::string missedRegistry_;        ///< that was warned of
  bool isAhead_ = false;
  std::vector<std::string> loaded_;
  std::vector<SDK::WriteNote> notes_;
};

}  // namespace Redfish
