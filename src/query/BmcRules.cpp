#include "query/BmcRules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "common/Text.h"
#include "query/XNode.h"

namespace Query {
namespace {

bool IsPlain(char character) {
  return character >= 0x21 && character <= 0x7E;
}

std::string InHex(char byte) {
  std::array<char, 4> text = {};
  std::snprintf(text.data(), text.size(), "%%%02X", static_cast<unsigned char>(byte));
  return text.data();
}

}  // namespace

std::string WordOf(std::string_view raw) {
  if (raw == kNotTold) return InHex(raw.front()) + std::string(raw.substr(1));
  std::string text;
  for (std::size_t at = 0; at < raw.size(); ++at) {
    const bool isAsItStands = IsPlain(raw[at]) && !Common::PercentByteAt(raw, at);
    text += isAsItStands ? std::string(1, raw[at]) : InHex(raw[at]);
  }
  return text;
}

std::string TakeWord(std::string_view text, std::string& raw) {
  if (text == kNotTold) return "it stands for a text that a BMC has not told";
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::optional<std::uint8_t> byte = Common::PercentByteAt(text, at);
    if (byte ? *byte == 0 : !IsPlain(text[at])) {
      return "it must be printable ASCII without blanks, or %XX for a byte that is not";
    }
    bytes += byte ? static_cast<char>(*byte) : text[at];
    if (byte) at += 2;
  }
  raw = std::move(bytes);
  return {};
}

std::string Upper(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return upper;
}

std::string CanonicalAddress(int family, const std::string& text) {
  std::array<std::uint8_t, 16> address = {};
  if (inet_pton(family, text.c_str(), address.data()) != 1) return {};
  std::array<char, INET6_ADDRSTRLEN> canonical = {};
  inet_ntop(family, address.data(), canonical.data(), canonical.size());
  return Upper(canonical.data());
}

std::string ObjectionToAddress(int family) {
  return family == AF_INET ? "it must be an IPv4 address" : "it must be an IPv6 address";
}

bool IsIntervalOfNone(const std::string& path, const SDK::SettingMap& settings) {
  constexpr std::string_view kInterval = "/RETRY/INTERVAL";
  if (!path.ends_with(kInterval) || settings.at(path) != "0") return false;
  const auto count = settings.find(path.substr(0, path.size() - kInterval.size()) + "/RETRY/COUNT");
  return count != settings.end() && count->second.empty();
}

SDK::WriteForesight OpensAccount(const std::string& path, const std::string& name, unsigned slot,
                                 bool isPasswordGiven) {
  using Kind = SDK::WriteForesight::Kind;
  return {path, isPasswordGiven ? Kind::OpensAccount : Kind::NeedsPassword,
          "the account \"" + name + "\" is open then, with " +
              (isPasswordGiven
                   ? "the password that was given"
                   : "whatever password user " + std::to_string(slot) + " of the BMC had before"),
          name};
}

}  // namespace Query
