#pragma once

#include <string>

#include "plan/Plan.h"
#include "plan/Server.h"

namespace Planning {

/// Has the server check the BIOS administrator password before anything is written, where the plan
/// reaches its BIOS. It changes nothing. The caller wipes the password.
/// \throws Failure       the server wants one, and `password` is empty.
/// \throws ResultStatus  PasswordRefused, or what asking the server throws.
void CheckAdminPassword(const Plan& plan, const std::string& password, const Server& server);

}  // namespace Planning
