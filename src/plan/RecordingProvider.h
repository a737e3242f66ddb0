#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plan/ForwardingProvider.h"

namespace Planning {

/// A write that a restore sends.
struct RecordedWrite {
  std::string path;
  std::string value;
};

/// Reads from another provider and keeps the writes instead of sending them. Checks of the BIOS
/// administrator password are writes by their form; they are neither sent nor kept.
class RecordingProvider final : public ForwardingProvider {
 public:
  /// The writes are added to `log`, which outlives the provider.
  RecordingProvider(std::shared_ptr<SDK::QueryProvider> inner, std::vector<RecordedWrite>& log);

  void Write(const SDK::SettingMap& settings, bool isBios, bool reserved) override;
  void WriteAuthorised(const SDK::SettingMap& settings, const std::string& password) override;
  void WriteGroup(const std::string& path, const SDK::SettingMap& settings) override;

 private:
  std::vector<RecordedWrite>& log_;
};

}  // namespace Planning
