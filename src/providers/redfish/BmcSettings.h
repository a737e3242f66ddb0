#pragma once

#include <string>
#include <vector>

#include "common/Wipe.h"
#include "providers/redfish/BmcTree.h"
#include "query/QueryProvider.h"

namespace Redfish {

/// The part of a RedfishProvider that is the BMC. Groups wait for the next batch and go out with
/// it, so that a restore which ends before has sent nothing.
class BmcSettings {
 public:
  explicit BmcSettings(Service& service) : tree_(service) {}

  /// True for the paths that are its own.
  [[nodiscard]] static bool IsOwn(const std::string& path);

  // As the operations of `QueryProvider`.
  void Read(const std::string& path, NodeMap& results) { tree_.Read(path, results); }
  void Write(const SDK::SettingMap& settings, std::vector<SDK::WriteNote>& notes);
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings);
  [[nodiscard]] std::vector<SDK::WriteForesight> Foresee(const SDK::SettingMap& settings);
  void UsePasswords(const SDK::SettingMap& passwords);
  [[nodiscard]] std::vector<Service::Walk> Walks() { return tree_.Resources().Walks(); }
  void Refresh() { tree_.Resources().Forget(); }

 private:
  BmcTree tree_;
  SDK::SettingMap queued_;  ///< by groups, for the next batch
  SDK::SettingMap passwords_;
  Common::WipeOnExit<SDK::SettingMap> wipe_{passwords_};
};

}  // namespace Redfish
