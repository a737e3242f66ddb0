#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

#include "common/Wipe.h"
#include "plan/Failure.h"
#include "providers/redfish/RedfishProvider.h"
#include "targets/Rows.h"

namespace Targets {
namespace {

constexpr std::size_t kLongestPassword = 1024;
constexpr const char* kPinPrefix = "sha256//";

constexpr const char* kCaFile = "--cacert";
constexpr const char* kPinnedKey = "--pinned-key";
constexpr const char* kInsecure = "--insecure";
constexpr const char* kAuthentication = "--auth";
constexpr std::chrono::seconds kPatience{30};

using Kind = Planning::Failure::Kind;

struct RedfishPlace {
  std::string user;
  std::string host;
  int port = 443;
  std::string system;
};

[[noreturn]] void RefusePlace(const std::string& place, const std::string& why) {
  throw Planning::Failure(Kind::Usage, "\"redfish:" + place + "\" is no target: " + why +
                                           "; the form is redfish:[USER@]HOST[:PORT][/SYSTEM]");
}

/// Takes a place apart. A user's name may hold "@" itself; an IPv6 address stands in brackets.
RedfishPlace Parse(const std::string& place) {
  RedfishPlace parsed;
  std::string host = place;
  if (const std::size_t at = place.rfind('@'); at != std::string::npos) {
    parsed.user = place.substr(0, at);
    host = place.substr(at + 1);
  }
  if (host.starts_with("//") || parsed.user.find("//") != std::string::npos) {
    RefusePlace(place, "it is no address of the web");
  }
  if (const std::size_t slash = host.find('/'); slash != std::string::npos) {
    parsed.system = host.substr(slash + 1);
    host.resize(slash);
  }
  const std::size_t bracket = host.starts_with('[') ? host.find(']') : 0;
  if (bracket == std::string::npos) RefusePlace(place, "the \"]\" of the address is missing");
  const std::size_t colon = host.find(':', bracket);
  parsed.host = host.substr(0, colon);
  constexpr const char* kHostCharacters =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_[]:%";
  if (parsed.host.empty()) RefusePlace(place, "the host is missing");
  if (parsed.host.find_first_not_of(kHostCharacters) != std::string::npos) {
    RefusePlace(place, "the host is none");
  }
  if (colon == std::string::npos) return parsed;
  const char* end = host.data() + host.size();
  const auto [stop, error] = std::from_chars(host.data() + colon + 1, end, parsed.port);
  if (error != std::errc() || stop != end || parsed.port < 1 || parsed.port > 65535) {
    RefusePlace(place, "the port is no number from 1 to 65535");
  }
  return parsed;
}

Redfish::Trust TrustOf(const GivenOptions& options) {
  const std::string pinnedKey = options.ValueOf(kPinnedKey);
  if (!pinnedKey.empty() && !pinnedKey.starts_with(kPinPrefix)) {
    throw Planning::Failure(Kind::Usage, std::string("--pinned-key takes \"") + kPinPrefix +
                                             "\" and the base64 text of a public key's SHA-256");
  }
  const std::string caFile = options.ValueOf(kCaFile);
  if (!caFile.empty() && !std::filesystem::exists(caFile)) {
    throw Planning::Failure(Kind::NoInput,
                            "the file of --cacert, \"" + caFile + "\", does not exist");
  }
  return {caFile, pinnedKey, options.Has(kInsecure)};
}

Redfish::Authentication WayOf(const std::string& name) {
  if (name == "session") return Redfish::Authentication::Session;
  return name == "basic" ? Redfish::Authentication::Basic : Redfish::Authentication::Auto;
}

Planning::Mounts Open(const OpenRequest& request) {
  const RedfishPlace parsed = Parse(request.place);
  Redfish::Endpoint endpoint;
  endpoint.host = parsed.host;
  endpoint.port = parsed.port;
  endpoint.trust = TrustOf(request.options);
  const std::chrono::seconds wait = request.patience.value_or(kPatience);
  endpoint.limits.stall = wait;
  endpoint.limits.connect = std::min(endpoint.limits.connect, wait);
  endpoint.limits.total = 6 * wait;
  const Frontend& frontend = request.frontend;
  endpoint.isHurried = [&frontend] { return frontend.IsHurried(); };
  endpoint.checkpoint = [&frontend] { frontend.ThrowIfInterrupted(); };
  Redfish::Credentials credentials{parsed.user, "",
                                   WayOf(request.options.ValueOf(kAuthentication))};
  const Common::WipeOnExit wipe(credentials.password);
  frontend.ReadPassword(parsed.user, kLongestPassword, credentials.password);
  const auto provider =
      std::make_shared<Redfish::RedfishProvider>(endpoint, credentials, parsed.system);
  return {{"BIOS", {provider}}, {"SMBIOS", {provider}}, {"BMC", {provider, false, {}, true}}};
}

constexpr auto kWays = std::to_array<const char*>({"auto", "session", "basic"});
constexpr auto kOptions = std::to_array<Option>({
    {kCaFile, "FILE", "Trust a Redfish service by the certificates in this PEM file"},
    {kPinnedKey, "KEY", "Trust a Redfish service by its public key: sha256//BASE64"},
    {kInsecure, "", "Trust any Redfish service; for tests only"},
    {kAuthentication, "NAME",
     "How to log in to a Redfish service: auto, session or basic; default auto", kWays},
});

constexpr auto kRows = std::to_array<TargetRow>({
    {"redfish", "redfish:[USER@]HOST[:PORT][/SYSTEM]",
     "the BIOS and the BMC of a server, over the Redfish service of its BMC", kOptions, Open},
});

}  // namespace

std::span<const TargetRow> RedfishRows() {
  return kRows;
}

}  // namespace Targets
