#include "tool/targets/IpmiTarget.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "common/Wipe.h"
#include "providers/ipmi/IpmiProvider.h"
#include "providers/ipmi/Session.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

constexpr std::size_t kLongestUser = 16;

[[noreturn]] void RefuseAddress(const std::string& place, const std::string& why) {
  throw ToolError(ExitUsage, "\"ipmi:" + place + "\" is no target: " + why +
                                 "; the form is ipmi:[USER@]HOST[:PORT]");
}

/// Takes a place apart. A user's name may hold "@" itself.
Ipmi::RemoteAddress AddressOf(const std::string& place) {
  Ipmi::RemoteAddress address;
  const std::size_t at = place.rfind('@');
  if (at != std::string::npos) address.user = place.substr(0, at);
  address.host = at == std::string::npos ? place : place.substr(at + 1);
  if (address.user.size() > kLongestUser) RefuseAddress(place, "the user's name is too long");
  // An IPv6 address stands in brackets, for its own colons.
  const std::size_t bracket = address.host.starts_with('[') ? address.host.find(']') : 0;
  const std::size_t colon = address.host.find(':', std::min(bracket, address.host.size()));
  if (colon == 0 || address.host.empty()) RefuseAddress(place, "the host is missing");
  if (colon != std::string::npos) {
    std::uint16_t port = 0;
    const char* end = address.host.data() + address.host.size();
    const auto [stop, error] = std::from_chars(address.host.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port == 0) {
      RefuseAddress(place, "the port is no number from 1 to 65535");
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

/// Reads a BMC key, which may hold any bytes when it is written in hexadecimal digits.
void ReadKey(const std::string& file, std::string& key) {
  PasswordSource source;
  source.file = file;
  std::string text;
  const Common::WipeOnExit wipe(text);
  ReadPassword(source, 2 + 2 * Ipmi::kLongestKey, text);
  if (!text.starts_with("0x")) {
    key = text;
  } else {
    for (std::size_t at = 2; at < text.size(); at += 2) {
      const char* end = text.data() + std::min(at + 2, text.size());
      std::uint8_t byte = 0;
      const auto [stop, error] = std::from_chars(text.data() + at, end, byte, 16);
      if (error != std::errc() || stop != end ||
          end - text.data() < static_cast<std::ptrdiff_t>(at) + 2) {
        throw ToolError(ExitUsage,
                        "the BMC key in \"" + file + "\" is no row of hexadecimal bytes");
      }
      key += static_cast<char>(byte);
    }
  }
  if (key.empty() || key.size() > Ipmi::kLongestKey) {
    throw ToolError(ExitUsage, "the BMC key in \"" + file + "\" does not have 1 to " +
                                   std::to_string(Ipmi::kLongestKey) + " bytes");
  }
}

class IpmiKind final : public TargetKind {
 public:
  void AddOptions(CLI::App& app) override {
    app.add_option("--ipmi-workaround", workarounds_,
                   "A departure from IPMI that the BMC needs, for example opensesspriv; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_option(
           "--cipher-suite", cipherSuite_,
           "The IPMI cipher suite to log in with; default: 17, or 3 where the BMC has no 17")
        ->check(CLI::IsMember({3, 17}));
    app.add_option("--kg-file", keyFile_,
                   "Read the BMC key (K_g) from the first line of this file: a text, or 0x and\n"
                   "hexadecimal digits");
  }

  void WaitFor(std::chrono::seconds time) override { patience_ = time; }

  [[nodiscard]] std::vector<std::string> GivenOptions() const override {
    std::vector<std::string> words;
    if (cipherSuite_ != 0) AddWords(words, "--cipher-suite", std::to_string(cipherSuite_));
    AddWords(words, "--kg-file", keyFile_);
    for (const std::string& name : workarounds_) AddWords(words, "--ipmi-workaround", name);
    return words;
  }

  [[nodiscard]] Planning::Mounts Open(const std::string& place,
                                      const PasswordSource& bmcPassword) const override {
    Ipmi::RemoteAddress address = AddressOf(place);
    CheckWorkarounds(workarounds_);
    address.workarounds = workarounds_;
    address.cipherSuite = static_cast<std::uint8_t>(cipherSuite_);
    if (patience_.count() != 0) address.patience = patience_;
    address.checkpoint = ThrowIfInterrupted;
    const Common::WipeOnExit wipe(address.password);
    const Common::WipeOnExit wipeKey(address.bmcKey);
    if (!keyFile_.empty()) ReadKey(keyFile_, address.bmcKey);
    ReadPassword(SourceFor(address.user, bmcPassword), Ipmi::kLongestPassword, address.password);
    const auto provider = std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenRemote(address));
    return {{"BMC", {provider, false}}, {"SMBIOS", {provider, true}}};
  }

 private:
  std::vector<std::string> workarounds_;  ///< names that FreeIPMI's users know
  unsigned cipherSuite_ = 0;              ///< 0 for any
  std::string keyFile_;
  std::chrono::seconds patience_{0};  ///< 0 for the usual one
};

}  // namespace

std::unique_ptr<TargetKind> MakeIpmiKind() {
  return std::make_unique<IpmiKind>();
}

std::shared_ptr<SDK::QueryProvider> OpenLocalBmc(const std::string& device,
                                                 std::chrono::seconds patience) {
  Ipmi::LocalAddress address;
  address.device = device;
  if (patience.count() != 0) address.patience = patience;
  address.checkpoint = ThrowIfInterrupted;
  return std::make_shared<Ipmi::IpmiProvider>(Ipmi::OpenLocal(address));
}

}  // namespace Tool
