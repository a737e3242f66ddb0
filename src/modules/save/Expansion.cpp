#include "modules/save/Expansion.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace SDK::Expansion {
namespace {

constexpr auto kReservedValues = std::to_array<std::string_view>({"RESERVEDUSERPREV", "RESERVED"});

constexpr auto kIpv6DetailKeys =
    std::to_array<std::string_view>({"IPV6PrefixLength", "IPV6", "IPV6GatewayIP", "IPV6Source"});

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

std::string RetryIntervalToMilliseconds(std::string_view interval) {
  std::uint64_t units = 0;  // stays 0 where there is no number that fits
  std::from_chars(interval.data(), interval.data() + interval.size(), units);
  return std::to_string(units * 10);
}

}  // namespace SDK::Expansion
