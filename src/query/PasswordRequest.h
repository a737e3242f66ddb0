#pragma once

#include <string_view>

namespace Query {

/// The path whose writes ask to check the BIOS administrator password.
inline constexpr const char* kPasswordPath = "/BIOS/AdminPw";

/// The password in a request of the form `password-password`, as a view into it.
/// \throws ResultStatus  PasswordRefused  it is not the same text twice.
[[nodiscard]] std::string_view PasswordIn(std::string_view request);

}  // namespace Query
