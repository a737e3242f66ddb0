#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct _XNode;  // NOLINT(bugprone-reserved-identifier): the name callers know

namespace Query {

/// An inclusive range. An end that a server leaves open is that of the type.
struct Range {
  std::int64_t low = INT64_MIN;
  std::int64_t high = INT64_MAX;
  bool operator==(const Range&) const = default;
};

/// What a setting takes beyond its list of options: one form for all back ends, so that whoever
/// checks a value needs to know none of them. What is not known is left as it is here.
struct Limits {
  enum class Form {
    Text,
    Whole,   ///< a whole decimal number
    Number,  ///< a decimal number
    Truth,   ///< true or false, which may be spelled 1 and 0
  };

  bool isReadOnly = false;  ///< nobody can change it, whatever the value
  Form form = Form::Text;
  std::optional<Range> range;   ///< of a number
  std::int64_t increment = 0;   ///< from one whole number to the next, from the low end; 0: any
  std::optional<Range> length;  ///< of a text, in characters
  std::string pattern;          ///< ECMAScript that the whole text matches; empty: any text

  bool operator==(const Limits&) const = default;
};

/// Why the setting `node` does not take `value`, as a part of a sentence; empty when it does. Being
/// read-only is no part of it: whether a value is a change at all is for the caller to know.
/// A pattern that does not compile refuses nothing.
[[nodiscard]] std::string Objection(const _XNode& node, const std::string& value);

/// `limits` for a person who edits the value: "read-only", "0 to 4094", "0 to 64 in steps of 2",
/// "at most 20 characters"; empty when there is nothing to say.
[[nodiscard]] std::string Describe(const Limits& limits);

/// True when `pattern` can be used as `Limits::pattern`.
[[nodiscard]] bool IsPattern(const std::string& pattern);

}  // namespace Query
