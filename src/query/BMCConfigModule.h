#pragma once

#include <string>

#include "query/QueryProvider.h"

namespace Module::BMCConfig {

/// The direct way to the BMC: the provider that the director has mounted for "BMC".
class BMCConfigModule {
 public:
  /// \param target  4294967295 for the one BMC of this server; nothing else is in use.
  explicit BMCConfigModule(unsigned long target) : target_(target) {}

  /// Reads the BMC nodes at `path` into `results` (`QueryProvider::Read`).
  /// \throws ResultStatus  NotMounted, and what the provider throws.
  void ProcessXQuery(std::string path, NodeMap& results);

  /// Writes a group of named settings at one BMC path (`QueryProvider::WriteGroup`).
  /// \throws ResultStatus  NotMounted, and what the provider throws.
  void ProcessXQuery(std::string path, SDK::SettingMap& settings);

  [[nodiscard]] unsigned long Target() const { return target_; }

 private:
  unsigned long target_;
};

}  // namespace Module::BMCConfig
