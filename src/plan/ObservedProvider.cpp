#include "plan/ObservedProvider.h"

#include <utility>

#include "common/ErrorManager.h"

namespace Planning {

ObservedProvider::ObservedProvider(std::shared_ptr<SDK::QueryProvider> inner,
                                   QueryObserver observer)
    : ForwardingProvider(std::move(inner)), observer_(std::move(observer)) {}

template <typename Call>
void ObservedProvider::Observe(const std::string& path, Call call) {
  observer_.onQuery(path);
  try {
    call();
  } catch (const ResultStatus& failure) {
    observer_.onFailure(path, failure);
    throw;
  }
}

void ObservedProvider::Read(const std::string& path, NodeMap& results) {
  Observe(path, [&] {
    if (silence_) throw ResultStatus(*silence_);
    try {
      ForwardingProvider::Read(path, results);
    } catch (const ResultStatus& failure) {
      if (failure.getval() == ErrorManager::Unreachable) silence_ = failure;
      throw;
    }
  });
}

void ObservedProvider::Refresh() {
  silence_.reset();
  ForwardingProvider::Refresh();
}

void ObservedProvider::Write(const SDK::SettingMap& settings, bool isBios, bool reserved) {
  Observe("a batch", [&] { ForwardingProvider::Write(settings, isBios, reserved); });
}

void ObservedProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                       const std::string& password) {
  Observe("a batch", [&] { ForwardingProvider::WriteAuthorised(settings, password); });
}

void ObservedProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  Observe(path, [&] { ForwardingProvider::WriteGroup(path, settings); });
}

}  // namespace Planning
