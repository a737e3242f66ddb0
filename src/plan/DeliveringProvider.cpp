#include "plan/DeliveringProvider.h"

#include <algorithm>
#include <utility>

#include "common/ErrorManager.h"
#include "query/PasswordRequest.h"

namespace Planning {

using Query::kPasswordPath;

namespace {

/// What a failure says of all that was sent in one call.
Delivery DeliveryAfter(const ResultStatus& failure) {
  if (failure.getval() == ErrorManager::WritesRefused) return Delivery::Taken;
  return ErrorManager::SaysNothing(failure.getval()) ? Delivery::Unknown : Delivery::Refused;
}

std::vector<std::string> PathsOf(const SDK::SettingMap& settings, const std::string& below = "") {
  std::vector<std::string> paths;
  paths.reserve(settings.size());
  for (const auto& [name, value] : settings)
    paths.push_back(below.empty() ? name : below + "/" + name);
  return paths;
}

}  // namespace

DeliveringProvider::DeliveringProvider(std::shared_ptr<SDK::QueryProvider> inner,
                                       const Filter& filter, Deliveries& deliveries)
    : ForwardingProvider(std::move(inner)), filter_(filter), deliveries_(deliveries) {}

const Obstacle* DeliveringProvider::ObstacleAt(const std::string& path) const {
  const auto found = std::ranges::find_if(
      filter_.obstacles, [&](const Obstacle& obstacle) { return obstacle.change.path == path; });
  return found == filter_.obstacles.end() ? nullptr : &*found;
}

bool DeliveringProvider::IsWanted(const std::string& path) const {
  return ObstacleAt(path) == nullptr && (!filter_.only || filter_.only->contains(path));
}

SDK::SettingMap DeliveringProvider::Filtered(const SDK::SettingMap& settings) const {
  SDK::SettingMap rest = settings;
  std::erase_if(rest, [&](const auto& setting) { return !IsWanted(setting.first); });
  return rest;
}

template <typename Call>
void DeliveringProvider::Deliver(const std::vector<std::string>& paths, Call call) {
  Delivery delivery = Delivery::Unknown;  // what an interrupt leaves
  const auto keep = [&] {
    for (const std::string& path : paths) deliveries_[path] = delivery;
  };
  try {
    call();
    delivery = Delivery::Taken;
  } catch (const ResultStatus& failure) {
    delivery = DeliveryAfter(failure);
    keep();
    throw;
  } catch (...) {
    keep();
    throw;
  }
  keep();
}

void DeliveringProvider::Write(const SDK::SettingMap& settings, bool isBios, bool reserved) {
  if (settings.contains(kPasswordPath))
    return ForwardingProvider::Write(settings, isBios, reserved);
  const SDK::SettingMap rest = Filtered(settings);
  Deliver(PathsOf(rest), [&] { ForwardingProvider::Write(rest, isBios, reserved); });
}

void DeliveringProvider::WriteAuthorised(const SDK::SettingMap& settings,
                                         const std::string& password) {
  const SDK::SettingMap rest = Filtered(settings);
  Deliver(PathsOf(rest), [&] { ForwardingProvider::WriteAuthorised(rest, password); });
}

void DeliveringProvider::WriteGroup(const std::string& path, const SDK::SettingMap& settings) {
  if (path == kPasswordPath) return ForwardingProvider::WriteGroup(path, settings);
  SDK::SettingMap kept = settings;
  for (auto& [name, value] : kept) {
    // A group is written whole: what cannot be changed goes out as it is.
    if (const Obstacle* obstacle = ObstacleAt(path + "/" + name)) value = obstacle->change.from;
  }
  const std::vector<std::string> paths = PathsOf(kept, path);
  if (filter_.only && std::ranges::none_of(paths, [&](const std::string& one) {
        return filter_.only->contains(one);
      })) {
    return;
  }
  Deliver(paths, [&] { ForwardingProvider::WriteGroup(path, kept); });
}

}  // namespace Planning
