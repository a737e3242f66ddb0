#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "common/ResultStatus.h"
#include "query/QueryProvider.h"
#include "tool/Messages.h"
#include "tool/Progress.h"

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

/// Opens the target of a command, once its arguments are known to be right.
using TargetOpener = std::function<std::shared_ptr<SDK::QueryProvider>()>;

/// Mounts a provider for all trees in the place of earlier ones.
void MountTarget(const std::shared_ptr<SDK::QueryProvider>& provider);

/// The target of a command: opened, mounted, and watched. Every query is counted, shown with
/// --verbose, and stopped when the user has interrupted the command.
class WatchedTarget {
 public:
  /// \throws ToolError, ResultStatus  from opening it.
  WatchedTarget(const TargetOpener& open, const Messages& messages, Progress* progress = nullptr);
  WatchedTarget(const WatchedTarget&) = delete;
  WatchedTarget& operator=(const WatchedTarget&) = delete;
  ~WatchedTarget();

  [[nodiscard]] const std::shared_ptr<SDK::QueryProvider>& Provider() const { return provider_; }
  [[nodiscard]] unsigned Queries() const { return queries_; }

  /// Throws the first failure with which the target has said nothing: it could not be reached, or
  /// did not permit a read. Reads swallow that, and an empty value must not pass for an answer.
  void ThrowIfSilent() const;

 private:
  std::shared_ptr<SDK::QueryProvider> provider_;
  std::optional<ResultStatus> silence_;
  unsigned queries_ = 0;
};

}  // namespace Tool
