#pragma once

#include <memory>
#include <span>
#include <string>

#include "query/QueryProvider.h"

namespace Tool {

/// One kind of target that this build can reach.
struct TargetKind {
  const char* scheme;   ///< what stands before the ":"
  const char* form;     ///< how it is written behind --target
  const char* summary;  ///< one line
  /// Opens the target at `place`, what stands behind the ":". \throws ResultStatus
  std::shared_ptr<SDK::QueryProvider> (*open)(const std::string& place);
};

[[nodiscard]] std::span<const TargetKind> TargetKinds();

/// Opens the target that a `--target` text names.
/// \throws ToolError     usage: none is given, or there is no such kind.
/// \throws ResultStatus  what opening it throws.
[[nodiscard]] std::shared_ptr<SDK::QueryProvider> OpenTarget(const std::string& target);

/// Mounts a provider for all trees in the place of earlier ones.
void MountTarget(const std::shared_ptr<SDK::QueryProvider>& provider);

}  // namespace Tool
