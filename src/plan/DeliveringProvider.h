#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
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

/// Which writes are to be passed on.
struct Filter {
  const std::vector<Obstacle>& obstacles;          ///< those that cannot be made are not
  std::optional<std::set<std::string>> only = {};  ///< and of the others these paths alone
};

/// Passes the writes on that a filter lets through, and keeps how far each has come.
class DeliveringProvider final : public ForwardingProvider {
 public:
  /// `filter` and `deliveries` outlive the provider.
  DeliveringProvider(std::shared_ptr<SDK::QueryProvider> inner, const Filter& filter,
                     Deliveries& deliveries);

  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;

 private:
  [[nodiscard]] const Obstacle* ObstacleAt(const std::string& path) const;
  [[nodiscard]] bool IsWanted(const std::string& path) const;
  [[nodiscard]] SDK::SettingMap Filtered(const SDK::SettingMap& settings) const;
  template <typename Call>
  void Deliver(const std::vector<std::string>& paths, Call call);

  const Filter& filter_;
  Deliveries& deliveries_;
};

}  // namespace Planning
