#include "plan/Verification.h"

#include <algorithm>
#include <set>
#include <utility>

#include "plan/Change.h"
#include "plan/Compare.h"
#include "plan/HostsOwn.h"
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
  const Configuration own = HostsOwn(asRead, verification.present);
  for (const Setting& setting : asRead.Settings()) {
    if (!IsWritten(setting, mode)) continue;
    const bool isOwn = own.Find(setting.section, setting.key) != nullptr;
    if (!isOwn) ++verification.compared;
    const Setting* now = verification.present.Find(setting.section, setting.key);
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
