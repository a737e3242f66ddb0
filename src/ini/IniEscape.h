#pragma once

#include <string>
#include <string_view>

/// How a text of the machine becomes part of a line, and back.
///
/// The form is `\xNN` with two hexadecimal digits, used for exactly those bytes that would
/// otherwise be lost or read as something else. Whatever a machine reports, its texts can then
/// start no line, key, section or comment of their own.
namespace Ini {

/// Which characters of a text the line form would misread, by the place the text stands in.
enum class Place {
  Value,    ///< control characters, a leading or trailing blank, a leading ";", a "\" before "x"
  Key,      ///< as Value, and every "=", a leading "["
  Section,  ///< control characters, a "\" before "x"
  Comment,  ///< control characters, a "\" before "x"
};

/// Appends `text` to `line` as it stands at `place`.
void AppendEscaped(std::string& line, std::string_view text, Place place);

/// `text` as it stands in a line at `place`.
[[nodiscard]] std::string Escape(std::string_view text, Place place);

/// True when `text` holds a `\xNN` that `Unescape` would undo.
[[nodiscard]] bool IsEscaped(std::string_view text);

/// Undoes `Escape`. Only `\x` and two hexadecimal digits are taken as an escape, and never `\x00`:
/// no text holds a NUL byte.
[[nodiscard]] std::string Unescape(std::string_view text);

}  // namespace Ini
