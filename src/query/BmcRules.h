#pragma once

#include <array>
#include <string>
#include <string_view>

#include "query/QueryProvider.h"

/// What holds for the settings of a BMC whatever protocol speaks to it, so that the same machine
/// reads alike, and answers a file with the same words, over each.
namespace Query {

/// `raw` as a file has it: printable ASCII without blanks. Other bytes become "%" and two
/// hexadecimal digits, so that a file brings back what was saved; so does a "%" before two digits.
[[nodiscard]] std::string WordOf(std::string_view raw);

/// Puts the bytes that such a text stands for into `raw`. \return why it stands for none, a part of
/// a sentence; empty when it does.
[[nodiscard]] std::string TakeWord(std::string_view text, std::string& raw);

/// An address in the form of the standard function, in capitals; empty when `text` is none.
/// `family` is AF_INET or AF_INET6.
[[nodiscard]] std::string CanonicalAddress(int family, const std::string& text);
[[nodiscard]] std::string ObjectionToAddress(int family);

[[nodiscard]] std::string Upper(std::string_view text);

/// True for a retry interval of 0 beside an empty number of retries in `settings`, which hold it:
/// what a save makes of a server that has neither, since an interval has another unit in a file and
/// nothing becomes 0. It tells as little as the empty number does.
[[nodiscard]] bool IsIntervalOfNone(const std::string& path, const SDK::SettingMap& settings);

/// What a plan and a report say of a setting that only other servers have.
inline constexpr const char* kNoSuchSetting = "this target has no such setting";

/// Why a setting keeps its value.
inline constexpr const char* kNotInFile = "the file does not tell it";
inline constexpr const char* kEmptyKeeps = "an empty value leaves it as it is";
inline constexpr const char* kUserNotInFile = "the file tells nothing of this user";
inline constexpr const char* kOwnAddresses = "a BMC keeps its own addresses";
/// Why a value is not written.
inline constexpr const char* kOwnName = "the session is logged in with this account";
inline constexpr const char* kNamelessAccount =
    "an enabled account without a name is open to everybody who knows its password; disable it too";
inline constexpr const char* kAccountStaysClosed =
    "its name or password was not taken, so it is not opened";
/// How a write ends the session's way to the BMC.
inline constexpr const char* kRenamesOwn =
    "the session is logged in with this account; the way back needs the new name";
inline constexpr const char* kDisablesOwn =
    "the session is logged in with this account; nobody can log in with it any more";
inline constexpr const char* kWeakensOwn =
    "the session is logged in with this account, and has too little privilege then";

/// An account that a write opens: it can be used afterwards and could not before, or by another
/// name. `slot` is its number.
[[nodiscard]] SDK::WriteForesight OpensAccount(const std::string& path, const std::string& name,
                                               unsigned slot, bool isPasswordGiven);

}  // namespace Query
