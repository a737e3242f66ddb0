#pragma once

#include "plan/Compare.h"
#include "plan/Configuration.h"

namespace Planning {

/// The settings of `present`, what the mounted server has, that no restore of `wanted` writes: what
/// the module's rules keep to the server (its addresses, the name of its first user), and what only
/// tells of the server (how many users it has). [SYSTEM] is not among them: a restore compares it.
[[nodiscard]] Configuration HostsOwn(const Configuration& wanted, const Configuration& present);

/// Moves what is about settings of `own` from the differences into `comparison.own`.
void SetApart(const Configuration& own, Comparison& comparison);

}  // namespace Planning
