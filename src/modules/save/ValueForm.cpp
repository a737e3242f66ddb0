#include "modules/save/ValueForm.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

#include "common/Text.h"

namespace SDK {
namespace {

std::string Upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return text;
}

bool IsAmong(std::string_view words, const std::string& value) {
  const std::string padded = " " + std::string(words) + " ";
  return value.find(' ') == std::string::npos && !value.empty() &&
         padded.find(" " + Upper(value) + " ") != std::string::npos;
}

bool IsNumberIn(const ValueForm& form, const std::string& value) {
  int number = 0;
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  return error == std::errc() && stop == end && value.front() != '-' && number >= form.low &&
         number <= form.high;
}

/// Bytes of a text in which a byte that is no printable character is "%" and two hexadecimal
/// digits.
std::size_t BytesOf(const std::string& value) {
  std::size_t bytes = 0;
  for (std::size_t at = 0; at < value.size(); ++at, ++bytes) {
    if (Common::PercentByteAt(value, at)) at += 2;
  }
  return bytes;
}

bool IsPrintable(const ValueForm& form, const std::string& value) {
  const unsigned char first = form.kind == ValueForm::Kind::Word ? 0x21 : 0x20;
  const std::size_t bytes = form.kind == ValueForm::Kind::Word ? BytesOf(value) : value.size();
  return bytes <= static_cast<std::size_t>(form.high) &&
         std::ranges::all_of(value,
                             [&](unsigned char byte) { return byte >= first && byte <= 0x7E; });
}

bool IsAddress(int family, const std::string& value) {
  std::array<unsigned char, sizeof(in6_addr)> address = {};
  return inet_pton(family, value.c_str(), address.data()) == 1;
}

/// Six pairs of digits with a hyphen between two; some servers show a colon there.
bool IsHardwareAddress(const std::string& value) {
  constexpr std::size_t kLength = 17;
  if (value.size() != kLength) return false;
  for (std::size_t at = 0; at < kLength; ++at) {
    const auto character = static_cast<unsigned char>(value[at]);
    const bool isBetween = at % 3 == 2;
    if (isBetween ? character != '-' && character != ':' : std::isxdigit(character) == 0) {
      return false;
    }
  }
  return true;
}

std::string Listed(std::string_view words) {
  std::string text(words);
  for (std::size_t at = text.find(' '); at != std::string::npos; at = text.find(' ', at + 2)) {
    text.replace(at, 1, ", ");
  }
  return text;
}

}  // namespace

std::string Objection(const ValueForm& form, const std::string& value) {
  using FormKind = ValueForm::Kind;
  const std::string upTo = std::to_string(form.high);
  switch (form.kind) {
    case FormKind::Any:
      return "";
    case FormKind::Words:
      return IsAmong(form.words, value) ? "" : "it is none of " + Listed(form.words);
    case FormKind::Number:
      return !value.empty() && IsNumberIn(form, value)
                 ? ""
                 : "it must be a whole number, " + std::to_string(form.low) + " to " + upTo;
    case FormKind::Text:
      return IsPrintable(form, value)
                 ? ""
                 : "it must be printable ASCII characters, at most " + upTo + " bytes";
    case FormKind::Word:
      return IsPrintable(form, value)
                 ? ""
                 : "it must be printable ASCII characters without blanks, at most " + upTo +
                       " bytes";
    case FormKind::Ipv4Address:
      return IsAddress(AF_INET, value) ? "" : "it must be an IPv4 address, like 192.0.2.1";
    case FormKind::IpAddress:
      return IsAddress(AF_INET, value) || IsAddress(AF_INET6, value)
                 ? ""
                 : "it must be an IPv4 or IPv6 address";
    case FormKind::HardwareAddress:
      return IsHardwareAddress(value) ? ""
                                      : "it must be a hardware address, like 00-00-5E-00-53-01";
  }
  return "";
}

}  // namespace SDK
