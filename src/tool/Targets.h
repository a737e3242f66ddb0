#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/ResultStatus.h"
#include "query/QueryProvider.h"
#include "tool/Configuration.h"
#include "tool/Messages.h"
#include "tool/Password.h"
#include "tool/Progress.h"

namespace Tool {

/// A provider for one tree.
struct Mount {
  std::shared_ptr<SDK::QueryProvider> provider;
  /// It knows little of the tree, and answers for it while no other target does.
  bool isStandIn = false;
};

/// Which provider answers for which tree ("BMC", "BIOS", "SMBIOS").
using Mounts = std::map<std::string, Mount>;

/// `provider` for all trees.
[[nodiscard]] Mounts AllTrees(const std::shared_ptr<SDK::QueryProvider>& provider);

/// How to talk to a Redfish service.
struct RedfishOptions {
  std::string caFile;     ///< certificates to trust; empty: those of the system
  std::string pinnedKey;  ///< "sha256//BASE64"; empty for none
  bool insecure = false;  ///< trust any server
  unsigned timeout = 30;  ///< seconds without a sign of life
};

/// What the command line says of all targets: how to reach them and how to log in.
struct TargetOptions {
  PasswordSource bmcPassword;
  std::vector<std::string> ipmiWorkarounds;  ///< names that FreeIPMI's users know
  RedfishOptions redfish;
};

/// One kind of target that this build can reach.
struct TargetKind {
  const char* scheme;   ///< what stands before the ":"
  const char* form;     ///< how it is written behind --target; without ":" it takes no place
  const char* summary;  ///< one line
  /// Opens the target at `place`, what stands behind the ":". \throws ToolError, ResultStatus
  Mounts (*open)(const std::string& place, const TargetOptions& options);
};

[[nodiscard]] std::span<const TargetKind> TargetKinds();

/// Opens the targets that the `--target` texts name.
/// \throws ToolError     usage: none is given, there is no such kind, or two are for one tree.
/// \throws ResultStatus  what opening them throws.
[[nodiscard]] Mounts OpenTargets(const std::vector<std::string>& targets,
                                 const TargetOptions& options);

/// Opens the targets of a command, once its arguments are known to be right.
using TargetOpener = std::function<Mounts()>;

/// Mounts providers in the place of all earlier ones.
void MountTarget(const Mounts& mounts);

/// The same mounts with `wrap` around each provider, once for one that has several trees.
using Wrapper = std::function<std::shared_ptr<SDK::QueryProvider>(
    const std::shared_ptr<SDK::QueryProvider>& provider)>;
[[nodiscard]] Mounts Wrapped(const Mounts& mounts, const Wrapper& wrap);

/// The notes of all providers on their writes (`QueryProvider::TakeWriteNotes`).
[[nodiscard]] std::vector<SDK::WriteNote> TakeWriteNotes(const Mounts& mounts);

/// The mode that covers what is mounted; a stand-in is not worth one.
[[nodiscard]] Mode ModeOf(const Mounts& mounts);

/// A part that nothing is mounted for would be saved as empty, or restored to nobody.
/// \throws ToolError  usage: `mode` asks for such a part.
void CheckMode(const Mounts& mounts, Mode mode);

/// The targets of a command: opened, mounted, and watched. Every query is counted, shown with
/// --verbose, and stopped when the user has interrupted the command.
class WatchedTarget {
 public:
  /// \throws ToolError, ResultStatus  from opening them.
  WatchedTarget(const TargetOpener& open, const Messages& messages, Progress* progress = nullptr);
  WatchedTarget(const WatchedTarget&) = delete;
  WatchedTarget& operator=(const WatchedTarget&) = delete;
  ~WatchedTarget();

  [[nodiscard]] const Mounts& Providers() const { return mounts_; }
  [[nodiscard]] unsigned Queries() const { return queries_; }

  /// Throws the first failure with which the target has said nothing: it could not be reached, or
  /// did not permit a read. Reads swallow that, and an empty value must not pass for an answer.
  void ThrowIfSilent() const;

 private:
  Mounts mounts_;
  std::optional<ResultStatus> silence_;
  unsigned queries_ = 0;
};

}  // namespace Tool
