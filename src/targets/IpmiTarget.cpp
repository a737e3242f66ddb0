#include <algorithm>
#include <array>
#include <charconv>
#include <functional>

#include "common/Wipe.h"
#include "plan/Failure.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "targets/Rows.h"

namespace Targets {
namespace {

constexpr std::size_t kLongestUser = 16;
constexpr const char* kCipherSuite = "--cipher-suite";
constexpr const char* kKeyFile = "--kg-file";
constexpr const char* kWorkaround = "--ipmi-workaround";

[[noreturn]] void Refuse(const std::string& why) {
  throw Planning::Failure(Planning::Failure::Kind::Usage, why);
}

[[noreturn]] void RefusePlace(const std::string& place, const std::string& why) {
  Refuse("\"ipmi:" + place + "\" is no target: " + why + "; the form is ipmi:[USER@]HOST[:PORT]");
}

/// Takes a place apart. A user's name may hold "@" itself.
Ipmi::RemoteAddress AddressOf(const std::string& place) {
  Ipmi::RemoteAddress address;
  const std::size_t at = place.rfind('@');
  if (at != std::string::npos) address.user = place.substr(0, at);
  address.host = at == std::string::npos ? place : place.substr(at + 1);
  if (address.user.size() > kLongestUser) RefusePlace(place, "the user's name is too long");
  // An IPv6 address stands in brackets, for its own colons.
  const std::size_t bracket = address.host.starts_with('[') ? address.host.find(']') : 0;
  const std::size_t colon = address.host.find(':', std::min(bracket, address.host.size()));
  if (colon == 0 || address.host.empty()) RefusePlace(place, "the host is missing");
  if (colon != std::string::npos) {
    std::uint16_t port = 0;
    const char* end = address.host.data() + address.host.size();
    const auto [stop, error] = std::from_chars(address.host.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port == 0) {
      RefusePlace(place, "the port is no number from 1 to 65535");
    }
  }
  return address;
}

void CheckWorkarounds(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const auto known = Ipmi::Workarounds();
    if (std::ranges::find(known, name, &Ipmi::Workaround::name) != known.end()) continue;
    std::string all;
    for (const Ipmi::Workaround& row : known) all += " " + std::string(row.name);
    Refuse("there is no workaround \"" + name + "\"; there are" + all);
  }
}

/// Reads a BMC key, which may hold any bytes when it is written in hexadecimal digits.
void ReadKey(const std::string& file, const Frontend& frontend, std::string& key) {
  std::string text;
  const Common::WipeOnExit wipe(text);
  frontend.ReadSecret(file, 2 + 2 * Ipmi::kLongestKey, text);
  if (!text.starts_with("0x")) {
    key = text;
  } else {
    for (std::size_t at = 2; at < text.size(); at += 2) {
      const char* end = text.data() + std::min(at + 2, text.size());
      std::uint8_t byte = 0;
      const auto [stop, error] = std::from_chars(text.data() + at, end, byte, 16);
      if (error != std::errc() || stop != end ||
          end - text.data() < static_cast<std::ptrdiff_t>(at) + 2) {
        Refuse("the BMC key in \"" + file + "\" is no row of hexadecimal bytes");
      }
      key += static_cast<char>(byte);
    }
  }
  if (key.empty() || key.size() > Ipmi::kLongestKey) {
    Refuse("the BMC key in \"" + file + "\" does not have 1 to " +
           std::to_string(Ipmi::kLongestKey) + " bytes");
  }
}

std::function<void()> CheckpointOf(const OpenRequest& request) {
  return [&frontend = request.frontend] { frontend.ThrowIfInterrupted(); };
}

/// Opens the BMC of the machine that the program runs on.
Planning::Mounts OpenDevice(const OpenRequest& request) {
  Ipmi::LocalAddress address;
  address.device = request.place;
  if (request.patience) address.patience = *request.patience;
  address.checkpoint = CheckpointOf(request);
  const auto provider = std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenLocal(address));
  return {{"BMC", {provider}}, {"SMBIOS", {provider, true}}};
}

Planning::Mounts Open(const OpenRequest& request) {
  if (request.place.starts_with('/')) return OpenDevice(request);
  Ipmi::RemoteAddress address = AddressOf(request.place);
  address.checkpoint = CheckpointOf(request);
  address.workarounds = request.options.ValuesOf(kWorkaround);
  CheckWorkarounds(address.workarounds);
  if (request.options.Has(kCipherSuite)) {
    address.cipherSuite =
        static_cast<std::uint8_t>(std::stoul(request.options.ValueOf(kCipherSuite)));
  }
  if (request.patience) address.patience = *request.patience;
  const Common::WipeOnExit wipe(address.password);
  const Common::WipeOnExit wipeKey(address.bmcKey);
  if (request.options.Has(kKeyFile)) {
    ReadKey(request.options.ValueOf(kKeyFile), request.frontend, address.bmcKey);
  }
  request.frontend.ReadPassword(address.user, Ipmi::kLongestPassword, address.password);
  const auto provider = std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenRemote(address));
  return {{"BMC", {provider}}, {"SMBIOS", {provider, true}}};
}

constexpr auto kCipherSuites = std::to_array<const char*>({"3", "17"});
constexpr auto kOptions = std::to_array<Option>({
    {kCipherSuite, "N",
     "The IPMI cipher suite to log in with; default: 17, or 3 where the BMC has no 17",
     kCipherSuites},
    {kKeyFile, "FILE",
     "Read the BMC key (K_g) from the first line of this file: a text, or 0x and hexadecimal "
     "digits"},
    {kWorkaround,
     "NAME",
     "A departure from IPMI that the BMC needs, for example opensesspriv; repeatable",
     {},
     true},
});

constexpr auto kRows = std::to_array<TargetRow>({
    {"ipmi", "ipmi:[USER@]HOST[:PORT]", "a management controller (BMC), by IPMI 2.0", kOptions,
     Open},
});

}  // namespace

std::span<const TargetRow> IpmiRows() {
  return kRows;
}

}  // namespace Targets
