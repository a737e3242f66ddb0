#pragma once

#include <set>
#include <string>

#include "query/QueryProvider.h"

namespace Tool {

/// Reads the passwords of accounts from lines "NAME:PASSWORD" of a file that nobody but its owner
/// may read. Empty lines are passed over; a password may hold ":". The caller wipes them.
/// \throws ToolError  the file cannot be read, others may read it, or a line is none.
void ReadUserPasswords(const std::string& file, SDK::SettingMap& passwords);

/// Asks for the password of each account of `names` that has none in `passwords`, twice since
/// nobody sees what is typed. The caller wipes them. \throws ToolError, Interrupted
void AskUserPasswords(const std::set<std::string>& names, SDK::SettingMap& passwords);

}  // namespace Tool
