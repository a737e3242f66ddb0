#include "modules/save/Expansion.h"

#include <algorithm>
#include <array>

namespace SDK::Expansion {
namespace {

constexpr auto kReservedValues = std::to_array<std::string_view>({"RESERVEDUSERPREV", "RESERVED"});

constexpr auto kIpv6DetailKeys =
    std::to_array<std::string_view>({"IPV6PrefixLength", "IPV6", "IPV6GatewayIP", "IPV6Source"});

/// Names and secrets that people choose.
constexpr auto kCaseKeepingKeys =
    std::to_array<std::string_view>({"DHCPHostName", "CommunityString", "UserName"});

/// The digits that `text` starts with, without leading zeros: a decimal number of any size. Empty
/// for zero, and where there is none.
std::string LeadingNumber(std::string_view text) {
  const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::size_t start = std::min(text.find_first_not_of('0'), end);
  return std::string(text.substr(start, end - start));
}

std::string InsertBehind(std::string query, std::size_t bracket, std::string_view number) {
  if (bracket != std::string::npos) query.insert(bracket + 1, number);
  return query;
}

}  // namespace

bool IsNumber(std::string_view text) {
  return !text.empty() &&
         std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
}

std::string FillFirst(std::string query, std::string_view number) {
  const std::size_t bracket = query.find('[');
  return InsertBehind(std::move(query), bracket, number);
}

std::string FillLast(std::string query, std::string_view number) {
  const std::size_t bracket = query.rfind('[');
  return InsertBehind(std::move(query), bracket, number);
}

std::string Number(std::string name, std::string_view number) {
  const std::size_t place = name.find('_');
  if (place != std::string::npos) name.replace(place, 1, number);
  return name;
}

std::vector<std::string> UsableNumbers(const std::vector<std::string>& indexes) {
  std::vector<std::string> numbers;
  if (indexes.empty() || indexes.front() == "ERROR") return numbers;
  std::ranges::copy_if(indexes, std::back_inserter(numbers), IsNumber);
  return numbers;
}

bool IsReserved(std::string_view value) {
  return std::ranges::find(kReservedValues, value) != kReservedValues.end();
}

bool IsIpv6Detail(std::string_view key) {
  return std::ranges::find(kIpv6DetailKeys, key) != kIpv6DetailKeys.end();
}

bool IsInstanceOf(std::string_view section, std::string_view pattern) {
  const std::size_t slot = pattern.find('_');
  if (slot == std::string_view::npos) return section == pattern;
  const std::string_view head = pattern.substr(0, slot);
  const std::string_view tail = pattern.substr(slot + 1);
  if (section.size() <= head.size() + tail.size()) return false;
  return section.starts_with(head) && section.ends_with(tail) &&
         IsNumber(section.substr(head.size(), section.size() - head.size() - tail.size()));
}

std::string WithoutBrackets(std::string name) {
  std::erase_if(name, [](char character) { return character == '[' || character == ']'; });
  return name;
}

bool KeepsCase(std::string_view section, std::string_view key, bool isNumbered) {
  if (isNumbered && section.find("EMAILCONFIG") != std::string_view::npos) return true;
  return std::ranges::any_of(kCaseKeepingKeys, [&](std::string_view word) {
    return key.find(word) != std::string_view::npos;
  });
}

bool StartsWithDigit(std::string_view text) {
  return IsNumber(text.substr(0, 1));
}

std::string RetryIntervalToMilliseconds(std::string_view interval) {
  const std::string number = LeadingNumber(interval);
  return number.empty() ? "0" : number + "0";
}

std::string MillisecondsToRetryInterval(std::string_view milliseconds) {
  std::string number = LeadingNumber(milliseconds);
  if (number.size() <= 1) return "0";
  number.pop_back();
  return number;
}

}  // namespace SDK::Expansion
