#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "plan/Server.h"
#include "tool/terminal/Messages.h"
#include "tool/terminal/Password.h"
#include "tool/terminal/Progress.h"

namespace Tool {

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
  Planning::Mounts (*open)(const std::string& place, const TargetOptions& options);
};

[[nodiscard]] std::span<const TargetKind> TargetKinds();

/// Opens the targets that the `--target` texts name.
/// \throws ToolError     usage: none is given, there is no such kind, or two are for one tree.
/// \throws ResultStatus  what opening them throws.
[[nodiscard]] Planning::Mounts OpenTargets(const std::vector<std::string>& targets,
                                           const TargetOptions& options);

/// Opens the targets of a command, once its arguments are known to be right.
using TargetOpener = std::function<Planning::Mounts()>;

/// Shows every query to a server with --verbose, and as progress, and stops when the user has
/// interrupted the command.
[[nodiscard]] Planning::QueryObserver Watching(const Messages& messages,
                                               Progress* progress = nullptr);

}  // namespace Tool
