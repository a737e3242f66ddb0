#include "plan/Verification.h"

#include <algorithm>
#include <set>

#include "plan/Change.h"
#include "plan/Compare.h"
#include "plan/Rehearsal.h"

namespace Planning {
namespace {

/// The part of the file that a restore in `mode` writes: not [SYSTEM], which is not written.
bool IsWritten(const Setting& setting, Mode mode) {
  if (setting.section == "SYSTEM") return false;
  if (IsBiosSection(setting.section)) {
    // An empty value of the BIOS is not restored.
    return mode != ModeBmc && !setting.value.empty();
  }
  return mode != ModeBios;
}

/// What of the file tells nothing, and the server therefore keeps as it is, by path.
std::set<std::string> KeptOf(const Configuration& file, const Configuration& present,
                             const Server& server) {
  SDK::SettingMap settings;
  for (const Setting& wanted : file.Settings()) {
    const Setting* now = present.Find(wanted.section, wanted.key);
    const bool isAsked = now != nullptr && TellsNothing(wanted.value) && !SameValue(wanted, *now);
    if (isAsked && now->path.starts_with("/BMC/")) settings.emplace(now->path, wanted.value);
  }
  std::set<std::string> kept;
  if (settings.empty()) return kept;
  for (const SDK::WriteForesight& foreseen : server.Foresee(settings)) {
    if (foreseen.kind == SDK::WriteForesight::Kind::Keeps) kept.insert(foreseen.path);
  }
  return kept;
}

}  // namespace

bool Verification::IsAsWanted() const {
  return std::ranges::all_of(missed, &Missed::isReadOnly);
}

Verification Verify(const Configuration& file, Mode mode, const Server& server,
                    const std::string& path) {
  Verification verification;
  verification.present = ConfigurationOfTarget(mode);
  const Configuration asRead = AsRead(path, file, verification.present, mode, server.Providers());
  server.ThrowIfSilent();
  if (mode != ModeBmc) verification.messages = server.BootMessages();
  std::set<std::string> waiting;
  for (const SDK::BootMessage& message : verification.messages) {
    if (message.isWaiting) waiting.insert(message.path);
  }
  const std::set<std::string> kept = KeptOf(asRead, verification.present, server);
  for (const Setting& wanted : asRead.Settings()) {
    const Setting* present = verification.present.Find(wanted.section, wanted.key);
    if (!IsWritten(wanted, mode) || (present != nullptr && kept.contains(present->path))) continue;
    ++verification.compared;
    const bool waits = present != nullptr && waiting.contains(present->path);
    if (present != nullptr && !waits && SameValue(wanted, *present)) continue;
    verification.missed.push_back({wanted.section, wanted.key, wanted.value, std::nullopt});
    if (present == nullptr) continue;
    verification.missed.back().present = present->value;
    verification.missed.back().isReadOnly = !waits && IsReadOnly(present->path);
  }
  return verification;
}

}  // namespace Planning
