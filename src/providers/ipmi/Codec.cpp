#include "providers/ipmi/Codec.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdio>

#include "query/BmcRules.h"
#include "query/XNode.h"

namespace Ipmi {
namespace {

unsigned MaskOf(const FieldRow& field) {
  return field.mask == 0 ? 0xFFU : field.mask;
}

/// A field of several bits that do not begin with the lowest one holds its number shifted; one with
/// a gap in it is a code as it stands.
int ShiftOf(const FieldRow& field) {
  const unsigned mask = MaskOf(field);
  const int shift = std::countr_zero(mask);
  return std::has_single_bit((mask >> shift) + 1) ? shift : 0;
}

unsigned GetNumber(const FieldRow& field, const Bytes& page) {
  return (page.at(field.offset) & MaskOf(field)) >> ShiftOf(field);
}

void PutNumber(const FieldRow& field, unsigned number, Bytes& page) {
  std::uint8_t& byte = page.at(field.offset);
  const unsigned mask = MaskOf(field);
  byte = static_cast<std::uint8_t>((byte & ~mask) | ((number << ShiftOf(field)) & mask));
}

std::optional<std::string> DecodeWord(const FieldRow& field, const Bytes& page) {
  const unsigned code = GetNumber(field, page);
  const auto word = std::ranges::find(field.words, code, &Word::code);
  if (word == field.words.end()) return std::nullopt;
  return word->text;
}

std::string EncodeWord(const FieldRow& field, const std::string& text, Bytes& page) {
  const auto word = std::ranges::find(field.words, Query::Upper(text), &Word::text);
  if (word != field.words.end()) {
    PutNumber(field, word->code, page);
    return {};
  }
  std::string choices;
  for (const Word& choice : field.words) {
    if (choices.find(choice.text) != std::string::npos) continue;
    choices += (choices.empty() ? "" : ", ") + std::string(choice.text);
  }
  return "it must be one of " + choices;
}

std::string EncodeNumber(const FieldRow& field, const std::string& text, Bytes& page) {
  unsigned number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < field.least || number > field.most) {
    return "it must be a number from " + std::to_string(field.least) + " to " +
           std::to_string(field.most);
  }
  PutNumber(field, number, page);
  return {};
}

std::string DecodeAddress(const FieldRow& field, const Bytes& page, int family) {
  std::array<char, INET6_ADDRSTRLEN> text = {};
  inet_ntop(family, page.data() + field.offset, text.data(), text.size());
  return Query::Upper(text.data());
}

std::string EncodeAddress(const FieldRow& field, const std::string& text, Bytes& page, int family) {
  std::array<std::uint8_t, 16> address = {};
  if (inet_pton(family, text.c_str(), address.data()) != 1) {
    return Query::ObjectionToAddress(family);
  }
  std::copy_n(address.begin(), field.length, page.begin() + field.offset);
  return {};
}

std::string DecodeMac(const FieldRow& field, const Bytes& page) {
  std::string text;
  for (std::size_t i = 0; i < field.length; ++i) {
    std::array<char, 4> part = {};
    std::snprintf(part.data(), part.size(), "%s%02X", i == 0 ? "" : "-", page[field.offset + i]);
    text += part.data();
  }
  return text;
}

std::string EncodeMac(const FieldRow& field, const std::string& text, Bytes& page) {
  constexpr const char* kFault = "it must have the form xx-xx-xx-xx-xx-xx";
  std::array<std::uint8_t, 6> address = {};
  if (text.size() != 3 * address.size() - 1) return kFault;
  for (std::size_t i = 0; i < address.size(); ++i) {
    const char* digits = text.data() + 3 * i;
    const bool isSeparated = i + 1 == address.size() || digits[2] == '-' || digits[2] == ':';
    const auto [stop, error] = std::from_chars(digits, digits + 2, address.at(i), 16);
    if (!isSeparated || error != std::errc() || stop != digits + 2) return kFault;
  }
  std::ranges::copy(address, page.begin() + field.offset);
  return {};
}

/// True when `text` is UTF-8 without control characters.
bool IsPhrase(std::string_view text) {
  int following = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const int ones = std::countl_one(byte);
    if ((following > 0) != (ones == 1) || ones > 4 || byte < 0x20 || byte == 0x7F) return false;
    following = following > 0 ? following - 1 : std::max(ones - 1, 0);
  }
  return following == 0;
}

/// A text ends at its first NUL byte.
std::string RawText(const FieldRow& field, const Bytes& page) {
  const std::size_t from = field.offset;
  const std::size_t to = field.length == 0 ? page.size() : from + field.length;
  std::string text;
  for (std::size_t i = from; i < std::min(to, page.size()) && page[i] != 0; ++i) {
    text += static_cast<char>(page[i]);
  }
  return text;
}

/// What cannot be shown has no text.
std::optional<std::string> DecodePhrase(const FieldRow& field, const Bytes& page) {
  const std::string text = RawText(field, page);
  return IsPhrase(text) ? std::optional(text) : std::nullopt;
}

std::string EncodeText(const FieldRow& field, const std::string& text, Bytes& page) {
  std::string raw;
  if (std::string objection = Query::TakeWord(text, raw); !objection.empty()) return objection;
  if (raw.size() > field.length) {
    return "it must be at most " + std::to_string(field.length) + " bytes long";
  }
  page.resize(std::max<std::size_t>(page.size(), std::size_t{field.offset} + field.length));
  const auto begin = page.begin() + field.offset;
  std::fill_n(begin, field.length, std::uint8_t{0});
  std::ranges::copy(raw, begin);
  return {};
}

/// The second byte of the firmware revision is two decimal digits.
std::string DecodeVersion(const FieldRow& field, const Bytes& page) {
  std::array<char, 16> text = {};
  std::snprintf(text.data(), text.size(), "%u.%02X", page[field.offset] & 0x7FU,
                page[field.offset + 1U]);
  return text.data();
}

/// Manufacturer (a private enterprise number, 20 bits) and product have no names in IPMI.
std::string DecodeProduct(const FieldRow& field, const Bytes& page) {
  const std::uint8_t* id = page.data() + field.offset;
  const unsigned manufacturer = id[0] + 0x100U * id[1] + 0x10000U * (id[2] & 0x0FU);
  const unsigned product = id[3] + 0x100U * id[4];
  return "Manufacturer " + std::to_string(manufacturer) + " product " + std::to_string(product);
}

}  // namespace

std::optional<std::string> Decode(const FieldRow& field, const Bytes& page) {
  switch (field.codec) {
    case Codec::Word:
      return DecodeWord(field, page);
    case Codec::Number:
      return std::to_string(GetNumber(field, page));
    case Codec::Ipv4:
      return DecodeAddress(field, page, AF_INET);
    case Codec::Ipv6:
      return DecodeAddress(field, page, AF_INET6);
    case Codec::Mac:
      return DecodeMac(field, page);
    case Codec::Text:
      return Query::WordOf(RawText(field, page));
    case Codec::Phrase:
      return DecodePhrase(field, page);
    case Codec::Version:
      return DecodeVersion(field, page);
    case Codec::Product:
      return DecodeProduct(field, page);
  }
  return std::nullopt;
}

std::string Encode(const FieldRow& field, const std::string& text, Bytes& page) {
  switch (field.codec) {
    case Codec::Word:
      return EncodeWord(field, text, page);
    case Codec::Number:
      return EncodeNumber(field, text, page);
    case Codec::Ipv4:
      return EncodeAddress(field, text, page, AF_INET);
    case Codec::Ipv6:
      return EncodeAddress(field, text, page, AF_INET6);
    case Codec::Mac:
      return EncodeMac(field, text, page);
    case Codec::Text:
      return EncodeText(field, text, page);
    case Codec::Phrase:
    case Codec::Version:
    case Codec::Product:
      break;
  }
  return "it is read-only";
}

std::string Canonical(const FieldRow& field, const std::string& text) {
  Bytes page(std::size_t{field.offset} + std::max<std::size_t>(field.length, 1));
  if (!Encode(field, text, page).empty()) return text;
  return Decode(field, page).value_or(text);
}

Query::Limits LimitsOf(const FieldRow& field) {
  Query::Limits limits;
  if (field.codec == Codec::Number) {
    limits.form = Query::Limits::Form::Whole;
    limits.range = {field.least, field.most};
  } else if (field.codec == Codec::Text) {
    limits.pattern =
        "(%[0-9A-Fa-f][0-9A-Fa-f]|[!-~]){0," + std::to_string(unsigned{field.length}) + "}";
  }
  return limits;
}

bool MayBeEmpty(const FieldRow& field) {
  return field.codec == Codec::Text;
}

}  // namespace Ipmi
