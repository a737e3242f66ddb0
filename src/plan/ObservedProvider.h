#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/ForwardingProvider.h"

namespace Planning {

/// Sees every query that goes to the target.
struct QueryObserver {
  /// Before a query; may throw to stop the operation.
  std::function<void(const std::string& path)> onQuery;
  /// After one that has failed.
  std::function<void(const std::string& path, const ResultStatus& failure)> onFailure;
};

/// Passes every call on to another provider and tells an observer. One that did not answer a read
/// is not asked again before the next `Refresh`: what was read is of no use without that answer,
/// and each further question may have to be waited out.
class ObservedProvider final : public ForwardingProvider {
 public:
  ObservedProvider(std::shared_ptr<SDK::QueryProvider> inner, QueryObserver observer);

  void Read(const std::string& path, NodeMap& results) override;
  void Refresh() override;
  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;

 private:
  template <typename Call>
  void Observe(const std::string& path, Call call);

  QueryObserver observer_;
  std::optional<ResultStatus> silence_;  ///< why it is not asked
};

}  // namespace Planning
