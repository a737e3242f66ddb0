#include "tool/targets/IpmiTarget.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "common/Wipe.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

constexpr std::size_t kLongestUser = 16;

[[noreturn]] void RefusePlace(const std::string& place, const std::string& why) {
  throw ToolError(ExitUsage, "\"ipmi:" + place + "\" is no target: " + why +
                                 "; the form is ipmi:[USER@]HOST[:PORT]");
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
    throw ToolError(ExitUsage, "there is no workaround \"" + name + "\"; there are" + all);
  }
}

class IpmiKind final : public TargetKind {
 public:
  void AddOptions(CLI::App& app) override {
    app.add_option("--ipmi-workaround", workarounds_,
                   "A departure from IPMI that the BMC needs, for example opensesspriv; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false);
  }

  [[nodiscard]] std::vector<std::string> GivenOptions() const override {
    std::vector<std::string> words;
    for (const std::string& name : workarounds_) AddWords(words, "--ipmi-workaround", name);
    return words;
  }

  [[nodiscard]] Planning::Mounts Open(const std::string& place,
                                      const PasswordSource& bmcPassword) const override {
    Ipmi::RemoteAddress address = AddressOf(place);
    CheckWorkarounds(workarounds_);
    address.workarounds = workarounds_;
    const Common::WipeOnExit wipe(address.password);
    ReadPassword(SourceFor(address.user, bmcPassword), Ipmi::kLongestPassword, address.password);
    const auto provider = std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenRemote(address));
    return {{"BMC", {provider, false}}, {"SMBIOS", {provider, true}}};
  }

 private:
  std::vector<std::string> workarounds_;  ///< names that FreeIPMI's users know
};

}  // namespace

std::unique_ptr<TargetKind> MakeIpmiKind() {
  return std::make_unique<IpmiKind>();
}

std::shared_ptr<SDK::QueryProvider> OpenLocalBmc(const std::string& device) {
  return std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenLocal(device));
}

}  // namespace Tool
