#include "tool/targets/RedfishTarget.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>

#include "common/Wipe.h"
#include "providers/redfish/RedfishProvider.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

constexpr std::size_t kLongestPassword = 1024;
constexpr const char* kPinPrefix = "sha256//";

/// How to talk to a Redfish service.
struct RedfishOptions {
  std::string caFile;                ///< certificates to trust; empty: those of the system
  std::string pinnedKey;             ///< "sha256//BASE64"; empty for none
  bool insecure = false;             ///< trust any server
  std::chrono::seconds timeout{30};  ///< without a sign of life
  std::string authentication = "auto";
};

struct RedfishPlace {
  std::string user;
  std::string host;
  int port = 443;
  std::string system;
};

[[noreturn]] void RefusePlace(const std::string& place, const std::string& why) {
  throw ToolError(ExitUsage, "\"redfish:" + place + "\" is no target: " + why +
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

Redfish::Trust TrustOf(const RedfishOptions& options) {
  if (!options.pinnedKey.empty() && !options.pinnedKey.starts_with(kPinPrefix)) {
    throw ToolError(ExitUsage, std::string("--pinned-key takes \"") + kPinPrefix +
                                   "\" and the base64 text of a public key's SHA-256");
  }
  if (!options.caFile.empty() && !std::filesystem::exists(options.caFile)) {
    throw ToolError(ExitNoInput,
                    "the file of --cacert, \"" + options.caFile + "\", does not exist");
  }
  return {options.caFile, options.pinnedKey, options.insecure};
}

Redfish::Authentication WayOf(const std::string& name) {
  if (name == "session") return Redfish::Authentication::Session;
  return name == "basic" ? Redfish::Authentication::Basic : Redfish::Authentication::Auto;
}

class RedfishKind final : public TargetKind {
 public:
  void AddOptions(CLI::App& app) override {
    app.add_option("--cacert", options_.caFile,
                   "Trust a Redfish service by the certificates in this PEM file")
        ->type_name("FILE");
    app.add_option("--pinned-key", options_.pinnedKey,
                   "Trust a Redfish service by its public key: sha256//BASE64")
        ->type_name("KEY");
    app.add_flag("--insecure", options_.insecure, "Trust any Redfish service; for tests only");
    app.add_option("--auth", options_.authentication,
                   "How to log in to a Redfish service: auto, session or basic; default auto")
        ->option_text("NAME")
        ->check(CLI::IsMember({"auto", "session", "basic"}));
  }

  void WaitFor(std::chrono::seconds time) override { options_.timeout = time; }

  [[nodiscard]] std::vector<std::string> GivenOptions() const override {
    std::vector<std::string> words;
    AddWords(words, "--cacert", options_.caFile);
    AddWords(words, "--pinned-key", options_.pinnedKey);
    if (options_.insecure) words.emplace_back("--insecure");
    if (options_.authentication != "auto") AddWords(words, "--auth", options_.authentication);
    return words;
  }

  [[nodiscard]] Planning::Mounts Open(const std::string& place,
                                      const PasswordSource& bmcPassword) const override {
    const RedfishPlace parsed = Parse(place);
    Redfish::Endpoint endpoint;
    endpoint.host = parsed.host;
    endpoint.port = parsed.port;
    endpoint.trust = TrustOf(options_);
    const std::chrono::seconds wait = options_.timeout;
    endpoint.limits.stall = wait;
    endpoint.limits.connect = std::min(endpoint.limits.connect, wait);
    endpoint.limits.total = 6 * wait;
    endpoint.isHurried = IsHurried;
    endpoint.checkpoint = ThrowIfInterrupted;
    Redfish::Credentials credentials{parsed.user, "", WayOf(options_.authentication)};
    const Common::WipeOnExit wipe(credentials.password);
    ReadPassword(SourceFor(parsed.user, bmcPassword), kLongestPassword, credentials.password);
    const auto provider =
        std::make_shared<Redfish::RedfishProvider>(endpoint, credentials, parsed.system);
    return {{"BIOS", {provider}}, {"SMBIOS", {provider}}, {"BMC", {provider, true}}};
  }

 private:
  RedfishOptions options_;
};

}  // namespace

std::unique_ptr<TargetKind> MakeRedfishKind() {
  return std::make_unique<RedfishKind>();
}

}  // namespace Tool
