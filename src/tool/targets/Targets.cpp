#include "tool/targets/Targets.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <string_view>

#include "tool/ExitCodes.h"
#ifdef SAVERESTORE_IPMI
#include "tool/targets/IpmiTarget.h"
#endif
#ifdef SAVERESTORE_HOST
#include "tool/targets/LocalTarget.h"
#endif
#include "tool/targets/MachineTarget.h"
#ifdef SAVERESTORE_REDFISH
#include "tool/targets/RedfishTarget.h"
#endif
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

constexpr auto kTargetRows = std::to_array<TargetRow>({
#ifdef SAVERESTORE_HOST
    {"local", "local", "the machine that the tool runs on, as Linux shows it", MakeLocalKind},
#endif
    {"machine", "machine:FILE", "a simulated server that lives in a JSON file", MakeMachineKind},
#ifdef SAVERESTORE_IPMI
    {"ipmi", "ipmi:[USER@]HOST[:PORT]", "a management controller (BMC), by IPMI 2.0", MakeIpmiKind},
#endif
#ifdef SAVERESTORE_REDFISH
    {"redfish", "redfish:[USER@]HOST[:PORT][/SYSTEM]",
     "the BIOS of a server, over the Redfish service of its BMC", MakeRedfishKind},
#endif
});

bool TakesPlace(const TargetRow& kind) {
  return std::string_view(kind.form).find(':') != std::string_view::npos;
}

/// A simulated machine must never be taken for the real one, so no kind is the default.
std::string HowToChoose() {
  std::string text = "Choose one:";
  for (const TargetRow& kind : kTargetRows) text += std::string(" --target ") + kind.form;
  return text + ". \"saverestore targets\" says what each is.";
}

}  // namespace

std::span<const TargetRow> TargetRows() {
  return kTargetRows;
}

Targets::Targets() {
  bmcPassword_.prompt = "Password of the BMC user: ";
  for (const TargetRow& row : kTargetRows) kinds_.push_back(row.make());
}

void Targets::AddOptions(CLI::App& app) {
  app.add_option("--target", names_,
                 "The server to work on, for example machine:server.json; see \"targets\". Given "
                 "twice, one is for the BIOS and the other for the BMC")
      ->type_name("KIND:PLACE")
      ->allow_extra_args(false);
  app.add_option("--bmc-password-fd", bmcPassword_.descriptor,
                 "Read it from this open file descriptor; default: ask on the terminal")
      ->option_text("N")
      ->excludes(
          app.add_option("--bmc-password-file", bmcPassword_.file,
                         "Read the password of the BMC user from the first line of this file")
              ->type_name("FILE"));
  app.add_option_function<unsigned>(
         "--timeout",
         [this](unsigned seconds) {
           for (const auto& kind : kinds_) kind->WaitFor(std::chrono::seconds(seconds));
         },
         "Seconds to wait for a sign of life of a server; default 10 for ipmi, 30 for redfish")
      ->option_text("SECONDS")
      ->check(CLI::Range(1, 600));
  for (const auto& kind : kinds_) kind->AddOptions(app);
}

std::vector<std::string> Targets::GivenOptions() const {
  std::vector<std::string> words;
  AddWords(words, "--bmc-password-file", bmcPassword_.file);
  for (const auto& kind : kinds_) {
    const std::vector<std::string> more = kind->GivenOptions();
    words.insert(words.end(), more.begin(), more.end());
  }
  return words;
}

Planning::Mounts Targets::OpenOne(const std::string& target) const {
  const std::size_t colon = std::min(target.find(':'), target.size());
  const auto* row = std::ranges::find(kTargetRows, target.substr(0, colon), &TargetRow::scheme);
  const std::string place = target.substr(std::min(colon + 1, target.size()));
  if (row == kTargetRows.end() || TakesPlace(*row) == place.empty()) {
    throw ToolError(ExitUsage, "\"" + target + "\" is no target. " + HowToChoose());
  }
  PasswordSource password = bmcPassword_;
  auto& kept = kept_[target];
  if (!kept) kept = std::make_shared<KeptPassword>();
  password.kept = kept;
  return kinds_[static_cast<std::size_t>(row - kTargetRows.begin())]->Open(place, password);
}

Planning::Mounts Targets::Open(const std::vector<std::string>& names) const {
  if (names.empty()) throw ToolError(ExitUsage, "no --target is given. " + HowToChoose());
  Planning::Mounts mounts;
  for (const std::string& target : names) {
    for (auto& [tree, opened] : OpenOne(target)) {
      Planning::Mount& mount = mounts[tree];
      if (mount.provider && opened.isStandIn) continue;
      if (mount.provider && !mount.isStandIn) {
        throw ToolError(ExitUsage, "\"" + target + "\" is for " + tree +
                                       ", which an earlier --target is for already");
      }
      mount = opened;
    }
  }
  return mounts;
}

Planning::QueryObserver Watching(const Messages& messages, Progress* progress) {
  Planning::QueryObserver observer;
  observer.onQuery = [&messages, progress](const std::string& path) {
    ThrowIfInterrupted();
    if (progress != nullptr) progress->Query();
    messages.Detail("query " + path);
  };
  observer.onFailure = [&messages](const std::string& path, const ResultStatus& failure) {
    messages.Detail("query " + path + ": " + failure.message());
  };
  return observer;
}

}  // namespace Tool
