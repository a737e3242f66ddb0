#include "common/Secrets.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace Common {
namespace {

/// Parts of names, in lower case, by which servers keep secrets in plain texts.
constexpr auto kSecretNames = std::to_array<std::string_view>({
    "password",    // also hashes and salts of passwords
    "passwd",      //
    "passphrase",  //
    "pwd",         //
    "secret",      // of CHAP, and shared secrets
    "privatekey",  //
    "sharedkey",   // pre-shared keys of network boot
});

/// Keys of the catalogue that a save holds, and a log does not.
constexpr auto kSecretKeys = std::to_array<std::string_view>({
    "CommunityString",  // all that SNMP asks for
    "SMTPUserName",     // half of a login
});

}  // namespace

bool NamesPassword(std::string_view name) {
  const auto same = [](char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == right;
  };
  return std::ranges::any_of(kSecretNames, [&](std::string_view part) {
    return std::search(name.begin(), name.end(), part.begin(), part.end(), same) != name.end();
  });
}

bool IsSecret(std::string_view key) {
  return std::ranges::find(kSecretKeys, key) != kSecretKeys.end() || NamesPassword(key);
}

}  // namespace Common
