#pragma once

#include <set>
#include <string>
#include <utility>

#include "plan/Compare.h"
#include "plan/Configuration.h"
#include "plan/Server.h"

namespace Planning {

/// Settings by section and key.
using SettingNames = std::set<std::pair<std::string, std::string>>;

/// Those settings of `wanted` that the mounted server, which has `present`, has no place for at
/// all: its protocol knows no such setting. They are no difference. \throws ResultStatus  the
/// server cannot be asked.
[[nodiscard]] SettingNames AbsentOf(const Configuration& wanted, const Configuration& present,
                                    const Server& server);

/// Takes what is about such settings out of the differences.
void TakeOut(const SettingNames& absent, Comparison& comparison);

}  // namespace Planning
