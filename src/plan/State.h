#pragma once

#include <vector>

#include "plan/Configuration.h"
#include "plan/Server.h"

namespace Planning {

/// What a server has, and what it will have once it has booted.
struct State {
  Configuration present;
  Configuration next;  ///< the same where nothing waits for the boot

  /// What waits: the settings of `next` that are others at present.
  [[nodiscard]] std::vector<Setting> Waiting() const;
};

/// What the mounted server has of the part that `mode` says.
/// \throws Failure         the server has no such part.
/// \throws ResultStatus  it cannot be read.
[[nodiscard]] Configuration PresentOf(const Server& server, Mode mode);

/// The same of a server that may lack a part: it has no settings then.
/// \throws ResultStatus  it cannot be read.
[[nodiscard]] Configuration PresentOfWhatIsThere(const Server& server, Mode mode);

/// All of the mounted server. \throws ResultStatus  it cannot be read.
[[nodiscard]] State StateOf(const Server& server);

/// Reads the part of the mounted server that `mode` says.
/// \throws as PresentOf.
[[nodiscard]] State StateOf(const Server& server, Mode mode);

/// The state of a server that has `present`. \throws ResultStatus  it cannot be read.
[[nodiscard]] State StateOf(const Server& server, Configuration present);

}  // namespace Planning
