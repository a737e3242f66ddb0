#include "query/BMCConfigModule.h"

#include "query/XDirector.h"

namespace Module::BMCConfig {
namespace {

SDK::QueryProvider& Bmc(const std::string& path) {
  return SDK::XDirectorImpl::CreateInstance()->ProviderOf("BMC", path);
}

}  // namespace

void BMCConfigModule::ProcessXQuery(std::string path, NodeMap& results) {
  Bmc(path).Read(path, results);
}

void BMCConfigModule::ProcessXQuery(std::string path, SDK::SettingMap& settings) {
  Bmc(path).WriteGroup(path, settings);
}

}  // namespace Module::BMCConfig
