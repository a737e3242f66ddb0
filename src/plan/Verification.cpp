#include "plan/Verification.h"

#include <algorithm>
#include <set>
#include <utility>

#include "plan/Absent.h"
#include "plan/Change.h"
#include "plan/Compare.h"
#include "plan/HostsOwn.h"
#include "plan/Plan.h"
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
std::set<std::string> KeptPaths(const Configuration& file, const Configuration& present,
                                const Server& server) {
  SDK::SettingMap settings;
  for (const Setting& wanted : file.Settings()) {
    const Setting* now = present.Find(wanted.section, wanted.key);
    if (now != nullptr && !SameValue(wanted, *now)) settings.emplace(now->path, wanted.value);
  }
  std::set<std::string> kept;
  for (const SDK::WriteForesight& foreseen : KeptOf(settings, server)) kept.insert(foreseen.path);
  return kept;
}

}  // namespace

bool Verification::IsAsWanted() const {
  return std::ranges::all_of(missed, &Missed::isReadOnly);
}

Verification Verify(const Configuration& wanted, Configuration present, Mode mode,
                    const Server& server) {
  Verification verification;
  verification.present = std::move(present);
  const Configuration asRead = AsRead(wanted, verification.present, mode, server.Providers());
  server.ThrowIfSilent();
  if (mode != ModeBmc) verification.messages = server.BootMessages();
  std::set<std::string> waiting;
  for (const SDK::BootMessage& message : verification.messages) {
    if (message.isWaiting) waiting.insert(message.path);
  }
  const std::set<std::string> kept = KeptPaths(asRead, verification.present, server);
  const Configuration own = HostsOwn(asRead, verification.present);
  const SettingNames absent = AbsentOf(asRead, verification.present, server);
  for (const Setting& setting : asRead.Settings()) {
    const Setting* now = verification.present.Find(setting.section, setting.key);
    if (!IsWritten(setting, mode) || (now != nullptr && kept.contains(now->path))) continue;
    const bool isOwn = own.Find(setting.section, setting.key) != nullptr;
    if (!isOwn && absent.contains({setting.section, setting.key})) continue;
    if (!isOwn) ++verification.compared;
    const bool waits = now != nullptr && waiting.contains(now->path);
    if (now != nullptr && !waits && SameValue(setting, *now)) continue;
    auto& list = isOwn ? verification.own : verification.missed;
    list.push_back({setting.section, setting.key, setting.value, std::nullopt});
    if (now == nullptr) continue;
    list.back().present = now->value;
    list.back().isReadOnly = !waits && IsReadOnly(now->path);
  }
  return verification;
}

}  // namespace Planning
