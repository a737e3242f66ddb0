#include "ini/IniEscape.h"

#include <cstdint>
#include <cstring>
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

/// True when `text` holds a control character or a backslash, looked for in eight bytes at a time:
/// most texts hold neither, and a save looks at every byte of a file.
bool HoldsControlOrBackslash(std::string_view text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = kOnes * 0x80;
  const auto isSuspect = [](std::uint64_t bytes) {
    // The high bit of a byte is set in (x - n) & ~x where the byte is less than n (up to 0x80).
    const auto less = [](std::uint64_t x, std::uint64_t n) { return (x - kOnes * n) & ~x; };
    return ((less(bytes, 0x20) | less(bytes ^ (kOnes * 0x7F), 1) |
             less(bytes ^ (kOnes * '\\'), 1)) &
            kHighBits) != 0;
  };
  std::uint64_t bytes = 0;
  for (; text.size() >= sizeof bytes; text.remove_prefix(sizeof bytes)) {
    std::memcpy(&bytes, text.data(), sizeof bytes);
    if (isSuspect(bytes)) return true;
  }
  bytes = kOnes * ' ';
  std::memcpy(&bytes, text.data(), text.size());
  return isSuspect(bytes);
}

/// True when the whole text can stand at `place` as it is.
bool IsPlain(std::string_view text, Place place) {
  if (text.empty()) return true;
  if (place == Place::Value || place == Place::Key) {
    const char first = text.front();
    if (first == ' ' || first == ';' || text.back() == ' ') return false;
    if (place == Place::Key && (first == '[' || text.find('=') != text.npos)) return false;
  }
  return !HoldsControlOrBackslash(text);
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

void AppendEscaped(std::string& line, std::string_view text, Place place) {
  if (IsPlain(text, place)) {
    line += text;
    return;
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!NeedsEscape(text, at, place)) {
      line += text[at];
      continue;
    }
    const auto byte = static_cast<unsigned char>(text[at]);
    line += "\\x";
    line += kHexDigits[byte >> 4U];
    line += kHexDigits[byte & 0x0FU];
  }
}

std::string Escape(std::string_view text, Place place) {
  std::string escaped;
  AppendEscaped(escaped, text, place);
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
