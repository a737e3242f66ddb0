#include "plan/RecordingProvider.h"

#include <utility>

#include "query/PasswordRequest.h"

namespace Planning {

using Query::kPasswordPath;

RecordingProvider::RecordingProvider(std::shared_ptr<SDK::QueryProvider> inner,
                                     std::vector<RecordedWrite>& log)
    : ForwardingProvider(std::move(inner)), log_(log) {}

void RecordingProvider::Write(const SDK::SettingMap& settings, bool /*isBios*/, bool /*reserved*/) {
  for (const auto& [path, value] : settings) {
    if (path != kPasswordPath) log_.push_back({path, value});
  }
}

void RecordingProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                        const std::string& /*password*/) {
  Write(settings, true, false);
}

void RecordingProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) return;
  for (const auto& [name, value] : settings) log_.push_back({path + "/" + name, value});
}

}  // namespace Planning
