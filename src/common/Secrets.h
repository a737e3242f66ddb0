#pragma once

#include <string_view>

// The one place that says which settings hold a secret.

namespace Common {

/// True when the name of a setting says that its text is a password or a key, whatever a server
/// says of it.
[[nodiscard]] bool NamesPassword(std::string_view name);

/// True when the value of a setting stays out of logs that others read: it is a password by its
/// name, or lets in whoever knows it. `key` is that of a file.
[[nodiscard]] bool IsSecret(std::string_view key);

}  // namespace Common
