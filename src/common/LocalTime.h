#pragma once

#include <ctime>
#include <string>

namespace Common {

/// A point in time as people here read it; `format` as strftime takes it.
[[nodiscard]] std::string LocalTime(std::time_t time, const char* format);

}  // namespace Common
