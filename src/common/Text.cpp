#include "common/Text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace Common {
namespace {

unsigned ByteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
}

/// The bytes of the UTF-8 character at the start of `text`; 0 when none stands there.
std::size_t CharacterLength(std::string_view text) {
  struct Lead {
    unsigned first, last;  ///< of the lead byte
    unsigned leastNext;    ///< smaller ones would be another spelling of a shorter character
    std::size_t length;
  };
  constexpr auto kLeads = std::to_array<Lead>({{0x00, 0x7F, 0x00, 1},
                                               {0xC2, 0xDF, 0x80, 2},
                                               {0xE0, 0xE0, 0xA0, 3},
                                               {0xE1, 0xEF, 0x80, 3},
                                               {0xF0, 0xF0, 0x90, 4},
                                               {0xF1, 0xF4, 0x80, 4}});
  for (const Lead& lead : kLeads) {
    if (ByteAt(text, 0) < lead.first || ByteAt(text, 0) > lead.last) continue;
    if (lead.length > 1 && ByteAt(text, 1) < lead.leastNext) return 0;
    for (std::size_t at = 1; at < lead.length; ++at) {
      if ((ByteAt(text, at) & 0xC0U) != 0x80U) return 0;
    }
    return lead.length;
  }
  return 0;
}

bool IsControl(std::string_view character) {
  const unsigned last = ByteAt(character, character.size() - 1);
  if (character.size() == 1) return last < 0x20 || (last >= 0x7F && last < 0xC0);
  return ByteAt(character, 0) == 0xC2 && last < 0xA0;
}

}  // namespace

std::string Printable(std::string_view text) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = std::max<std::size_t>(CharacterLength(text), 1);
    const std::string_view character = text.substr(0, length);
    text.remove_prefix(length);
    if (!IsControl(character) && !(character == "\\" && text.starts_with('x'))) {
      printable += character;
      continue;
    }
    for (const char byte : character) {
      const auto number = static_cast<unsigned char>(byte);
      printable += "\\x";
      printable += kHexDigits[number >> 4U];
      printable += kHexDigits[number & 0x0FU];
    }
  }
  return printable;
}

std::optional<std::uint8_t> PercentByteAt(std::string_view text, std::size_t at) {
  if (text.size() < at + 3 || text[at] != '%') return std::nullopt;
  std::uint8_t byte = 0;
  const char* end = text.data() + at + 3;
  const auto [stop, error] = std::from_chars(end - 2, end, byte, 16);
  return error == std::errc() && stop == end ? std::optional(byte) : std::nullopt;
}

}  // namespace Common
