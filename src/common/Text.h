#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What several folders ask of texts.
namespace Common {

/// True when `word` stands anywhere in `text`.
[[nodiscard]] inline bool Contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

/// `text` without the `blanks` around it.
[[nodiscard]] inline std::string_view Trimmed(std::string_view text, std::string_view blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// `text` as it may go to a terminal, whatever machine or file it comes from: the bytes of control
/// characters become `\xNN`, those of U+0080 to U+009F and bytes that continue no UTF-8 character
/// as well; so does a "\" that could be taken for the start of such a form.
[[nodiscard]] std::string Printable(std::string_view text);

/// The byte that "%" and two hexadecimal digits at `at` stand for; nothing when none do.
[[nodiscard]] std::optional<std::uint8_t> PercentByteAt(std::string_view text, std::size_t at);

}  // namespace Common
