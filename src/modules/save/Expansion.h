#pragma once

#include <string>
#include <string_view>
#include <vector>

/// How the rows of the catalogue become those of an instance: its number goes into the "[]" of a
/// query and takes the place of the "_" in a key or section name.
namespace SDK::Expansion {

/// Event filters are saved from a BMC that has at least these many, and only these many of them;
/// the same ones are restored.
inline constexpr std::size_t kHandledFilters = 12;

/// The serial-over-LAN payload access of channel 4 is neither saved nor restored.
inline constexpr std::string_view kUnhandledQuery = "CHANNEL[4]/PAYLOADACCESS";

inline constexpr const char* kIpv6StatusKey = "IPV6Status";
inline constexpr const char* kIpv6StatusQuery = "/BMC/LAN[]/IPV6STATUS";
inline constexpr std::string_view kEnabled = "ENABLE";
inline constexpr std::string_view kRetryIntervalKey = "SolRetryInterval";

/// True when `text` is a number: at least one digit and nothing else.
[[nodiscard]] bool IsNumber(std::string_view text);

/// `query` with `number` directly behind its first "["; a query without "[" as it is.
[[nodiscard]] std::string FillFirst(std::string query, std::string_view number);

/// `query` with `number` directly behind its last "["; a query without "[" as it is.
[[nodiscard]] std::string FillLast(std::string query, std::string_view number);

/// `name` with its first "_" replaced by `number`; a name without "_" as it is.
[[nodiscard]] std::string Number(std::string name, std::string_view number);

/// The usable ones of `indexes`, the index texts of a member list: none when the first is "ERROR"
/// (there is no list), and never one that is no number.
[[nodiscard]] std::vector<std::string> UsableNumbers(const std::vector<std::string>& indexes);

/// True for the values by which a BMC says that an item is not for use.
[[nodiscard]] bool IsReserved(std::string_view value);

/// True for the keys that mean something only while IPv6 is enabled on their LAN channel.
[[nodiscard]] bool IsIpv6Detail(std::string_view key);

/// True when `section` is `pattern`, the name of a section of the catalogue with its brackets, with
/// a number in the place of its "_".
[[nodiscard]] bool IsInstanceOf(std::string_view section, std::string_view pattern);

/// `name` without any "[" and "]": a section name as a reader of the file uses it.
[[nodiscard]] std::string WithoutBrackets(std::string name);

/// True for the keys whose values keep their case in a restore; all others are upper-cased. Texts
/// of e-mails keep it in the sections of an instance.
[[nodiscard]] bool KeepsCase(std::string_view section, std::string_view key, bool isNumbered);

[[nodiscard]] bool StartsWithDigit(std::string_view text);

/// The inverse of `RetryIntervalToMilliseconds`; what is below 10 milliseconds is dropped.
[[nodiscard]] std::string MillisecondsToRetryInterval(std::string_view milliseconds);

/// A retry interval in the BMC's unit of 10 milliseconds as milliseconds. Takes the leading digits;
/// without any it is "0".
[[nodiscard]] std::string RetryIntervalToMilliseconds(std::string_view interval);

}  // namespace SDK::Expansion
