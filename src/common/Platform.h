#pragma once

#include <functional>
#include <string>

namespace Platform {

/// The process-wide answer to "which platform family is this server?".
///
/// Made on first use and kept until the process ends: a program that turns to another server sets
/// `inst` to null before it makes the next object of the module. Not locked: two threads must not
/// make it at the same time.
class PlatformImpl {
 public:
  /// The singleton, or null before its first use. It stays set when `InitPlatform` throws.
  static PlatformImpl* inst;

  /// Returns the singleton; makes it and runs `InitPlatform` on first use.
  /// \throws ResultStatus  what `InitPlatform` throws.
  static PlatformImpl* CreateInstance();

  /// Asks the mounted engine for the platform name; without an engine the name is empty.
  /// \throws ResultStatus  what the engine throws.
  void InitPlatform();

  /// The platform name, for example "CALDRA_PLATFORM"; empty when it is not known.
  [[nodiscard]] const std::string& PlatformName() const { return platformName_; }

  /// Where `InitPlatform` gets the name from. The query director puts itself here, so that this
  /// unit need not know the engine.
  static void SetNameSource(std::function<std::string()> source);

 private:
  PlatformImpl() = default;

  std::string platformName_;
};

}  // namespace Platform
