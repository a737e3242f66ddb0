#pragma once

#include <sys/types.h>

#include <string>

namespace Tool {

/// Where systemd runs, gives a process of root a transient unit of its own: with that of the login
/// it would end where logging out ends all processes of a user. Elsewhere nothing is needed.
/// \return why it could not have one; empty when all is well.
[[nodiscard]] std::string GiveOwnUnit(pid_t process);

}  // namespace Tool
