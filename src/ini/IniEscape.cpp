#include "ini/IniEscape.h"

#include <optional>

namespace Ini {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool IsControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

bool NeedsEscape(std::string_view text, std::size_t at, Place place) {
  const char character = text[at];
  const bool first = at == 0;
  const bool last = at + 1 == text.size();
  if (IsControl(character)) return true;
  if (character == '\\') return !last && text[at + 1] == 'x';
  if (place == Place::Section || place == Place::Comment) return false;
  if (character == ' ') return first || last;
  if (character == ';') return first;
  return place == Place::Key && (character == '=' || (character == '[' && first));
}

std::optional<unsigned> HexValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return std::nullopt;
}

/// The byte that the escape at `at` stands for, or nothing when no escape stands there.
std::optional<char> EscapedByte(std::string_view text, std::size_t at) {
  if (text.size() - at < 4 || text[at] != '\\' || text[at + 1] != 'x') return std::nullopt;
  const auto high = HexValue(text[at + 2]);
  const auto low = HexValue(text[at + 3]);
  if (!high || !low || (*high == 0 && *low == 0)) return std::nullopt;
  return static_cast<char>(*high * 16 + *low);
}

}  // namespace

std::string Escape(std::string_view text, Place place) {
  std::string escaped;
  escaped.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!NeedsEscape(text, at, place)) {
      escaped += text[at];
      continue;
    }
    const auto byte = static_cast<unsigned char>(text[at]);
    escaped += "\\x";
    escaped += kHexDigits[byte >> 4U];
    escaped += kHexDigits[byte & 0x0FU];
  }
  return escaped;
}

bool IsEscaped(std::string_view text) {
  for (std::size_t at = text.find("\\x"); at != std::string_view::npos;
       at = text.find("\\x", at + 1)) {
    if (EscapedByte(text, at)) return true;
  }
  return false;
}

std::string Unescape(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    if (const auto byte = EscapedByte(text, at)) {
      plain += *byte;
      at += 4;
    } else {
      plain += text[at++];
    }
  }
  return plain;
}

}  // namespace Ini
