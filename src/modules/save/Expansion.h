#pragma once

#include <string>
#include <string_view>
#include <vector>

/// How the rows of the catalogue become those of an instance: its number goes into the "[]" of a
/// query and takes the place of the "_" in a key or section name.
namespace SDK::Expansion {

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

/// A retry interval in the BMC's unit of 10 milliseconds as milliseconds. Takes the leading digits;
/// without any it is "0".
[[nodiscard]] std::string RetryIntervalToMilliseconds(std::string_view interval);

}  // namespace SDK::Expansion
