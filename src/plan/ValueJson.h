#pragma once

#include <nlohmann/json.hpp>

#include "plan/Change.h"
#include "plan/Configuration.h"

// Settings and changes in the documents that are read again: records of the history, kept plans.

namespace Planning {

[[nodiscard]] nlohmann::ordered_json JsonOf(const Setting& setting);
/// Without what waits and without the texts of the options.
[[nodiscard]] nlohmann::ordered_json JsonOf(const Change& change);

/// \throws nlohmann::json::exception  a member is missing or of another type.
[[nodiscard]] Setting SettingOf(const nlohmann::ordered_json& json);
[[nodiscard]] Change ChangeOf(const nlohmann::ordered_json& json);

}  // namespace Planning
