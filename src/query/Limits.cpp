#include "query/Limits.h"

#include <algorithm>
#include <charconv>
#include <regex>

#include "query/XNode.h"

namespace Query {
namespace {

/// The matcher of the standard library goes one call deeper for each character.
constexpr std::size_t kLongestMatched = 1024;

template <typename Number>
std::optional<Number> Parse(const std::string& text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::int64_t Characters(const std::string& text) {
  constexpr unsigned char kContinuationMask = 0xC0;
  constexpr unsigned char kContinuation = 0x80;
  return std::ranges::count_if(text, [](char byte) {
    return (static_cast<unsigned char>(byte) & kContinuationMask) != kContinuation;
  });
}

template <typename Number>
bool IsWithin(const Range& range, Number number) {
  return static_cast<Number>(range.low) <= number && number <= static_cast<Number>(range.high);
}

/// "1 to 5", "at least 1", "at most 5"; empty for a range without ends. `lowest` needs no saying.
std::string Words(const Range& range, std::int64_t lowest) {
  const bool hasLow = range.low > lowest;
  const bool hasHigh = range.high < INT64_MAX;
  const std::string low = std::to_string(range.low);
  const std::string high = std::to_string(range.high);
  if (hasLow && hasHigh) return low == high ? low : low + " to " + high;
  if (hasHigh) return "at most " + high;
  return hasLow ? "at least " + low : "";
}

std::string RangeWords(const Limits& limits) {
  std::string text = limits.range ? Words(*limits.range, INT64_MIN) : "";
  if (limits.increment > 1) {
    text += (text.empty() ? "in steps of " : " in steps of ") + std::to_string(limits.increment);
  }
  return text;
}

std::string LengthWords(const Limits& limits) {
  const std::string text = limits.length ? Words(*limits.length, 0) : "";
  return text.empty() ? "" : text + " characters";
}

bool IsOnStep(const Limits& limits, std::int64_t number) {
  if (limits.increment <= 1) return true;
  const bool hasLow = limits.range && limits.range->low != INT64_MIN;
  // Differences of 64-bit numbers need not fit one: the remainders are enough.
  const std::int64_t start = hasLow ? limits.range->low % limits.increment : 0;
  return (number % limits.increment - start) % limits.increment == 0;
}

bool FitsNumber(const Limits& limits, const std::string& value) {
  if (limits.form == Limits::Form::Number) {
    const std::optional<double> number = Parse<double>(value);
    return number && (!limits.range || IsWithin(*limits.range, *number));
  }
  const std::optional<std::int64_t> number = Parse<std::int64_t>(value);
  return number && (!limits.range || IsWithin(*limits.range, *number)) && IsOnStep(limits, *number);
}

bool Matches(const std::string& value, const std::string& pattern) {
  if (value.size() > kLongestMatched) return true;
  try {
    return std::regex_match(value, std::regex(pattern, std::regex::ECMAScript));
  } catch (const std::regex_error&) {
    return true;
  }
}

}  // namespace

std::string Objection(const _XNode& node, const std::string& value) {
  const Limits& limits = node.limits;
  if (limits.form == Limits::Form::Truth && (value == "1" || value == "0")) return "";
  if (!node.options.empty()) {
    return node.options.contains(value) ? "" : "it is not among the options";
  }
  if (limits.form == Limits::Form::Whole || limits.form == Limits::Form::Number) {
    if (FitsNumber(limits, value)) return "";
    const std::string words = RangeWords(limits);
    return std::string("it must be a ") +
           (limits.form == Limits::Form::Whole ? "whole number" : "number") +
           (words.empty() ? "" : ", " + words);
  }
  if (limits.length && !IsWithin(*limits.length, Characters(value))) {
    return "it must have " + LengthWords(limits);
  }
  if (!limits.pattern.empty() && !Matches(value, limits.pattern)) {
    return "it must match \"" + limits.pattern + "\"";
  }
  return "";
}

std::string Describe(const Limits& limits) {
  if (limits.isReadOnly) return "read-only";
  const bool isNumber = limits.form == Limits::Form::Whole || limits.form == Limits::Form::Number;
  return isNumber ? RangeWords(limits) : LengthWords(limits);
}

bool IsPattern(const std::string& pattern) {
  try {
    static_cast<void>(std::regex(pattern, std::regex::ECMAScript));
    return true;
  } catch (const std::regex_error&) {
    return false;
  }
}

}  // namespace Query
