#include "providers/redfish/Secrets.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace Redfish {
namespace {

/// Parts of names, in lower case, by which services keep secrets in attributes of type String.
constexpr auto kSecretNames = std::to_array<std::string_view>({
    "password",    // also hashes and salts of passwords
    "passwd",      //
    "passphrase",  //
    "pwd",         //
    "secret",      // of CHAP, and shared secrets
    "privatekey",  //
    "sharedkey",   // pre-shared keys of network boot
});

}  // namespace

bool NamesSecret(std::string_view attribute) {
  const auto same = [](char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == right;
  };
  return std::ranges::any_of(kSecretNames, [&](std::string_view part) {
    return std::search(attribute.begin(), attribute.end(), part.begin(), part.end(), same) !=
           attribute.end();
  });
}

}  // namespace Redfish
