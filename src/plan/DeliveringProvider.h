#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "plan/Change.h"
#include "plan/ForwardingProvider.h"

namespace Planning {

/// How far a write has come.
enum class Delivery {
  Taken,    ///< the back end has gone through it; what it says of single settings is in its notes
  Refused,  ///< the back end has refused all that was sent with it, and written nothing
  Unknown,  ///< the server fell silent, or the connection broke, before it was done
};

/// What has become of the writes, by query path; what was never sent has no entry.
using Deliveries = std::map<std::string, Delivery>;

/// Passes writes on without those that cannot be made, and keeps how far each has come.
class DeliveringProvider final : public ForwardingProvider {
 public:
  /// `obstacles` and `deliveries` outlive the provider.
  DeliveringProvider(std::shared_ptr<SDK::QueryProvider> inner,
                     const std::vector<Obstacle>& obstacles, Deliveries& deliveries);

  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;

 private:
  [[nodiscard]] const Obstacle* ObstacleAt(const std::string& path) const;
  [[nodiscard]] SDK::SettingMap WithoutObstacles(const SDK::SettingMap& settings) const;
  template <typename Call>
  void Deliver(const std::vector<std::string>& paths, Call call);

  const std::vector<Obstacle>& obstacles_;
  Deliveries& deliveries_;
};

}  // namespace Planning
