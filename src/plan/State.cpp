#include "plan/State.h"

#include <algorithm>
#include <utility>

namespace Planning {

std::vector<Setting> State::Waiting() const {
  std::vector<Setting> waiting;
  for (const Setting& setting : next.Settings()) {
    const Setting* now = present.Find(setting.section, setting.key);
    if (now == nullptr || now->value != setting.value) waiting.push_back(setting);
  }
  return waiting;
}

Configuration PresentOf(const Server& server, Mode mode) {
  CheckMode(server.Providers(), mode);
  return PresentOfWhatIsThere(server, mode);
}

Configuration PresentOfWhatIsThere(const Server& server, Mode mode) {
  server.Expect(mode);
  Configuration present = ConfigurationOfTarget(mode);
  server.ThrowIfSilent();
  return present;
}

State StateOf(const Server& server) {
  return StateOf(server, ModeOf(server.Providers()));
}

State StateOf(const Server& server, Mode mode) {
  return StateOf(server, PresentOf(server, mode));
}

State StateOf(const Server& server, Configuration present) {
  State state{std::move(present), {}};
  const bool hasBios = std::ranges::any_of(state.present.Sections(), IsBiosSection);
  if (!hasBios || std::ranges::none_of(server.BootMessages(), &SDK::BootMessage::isWaiting)) {
    state.next = state.present;
    return state;
  }
  const AheadView ahead(server.Providers());
  const Configuration bios = ConfigurationOfTarget(ModeBios);  // nothing waits elsewhere
  server.ThrowIfSilent();
  for (const std::string& section : state.present.Sections()) {
    state.next.AddSection(section);
    const Configuration& source = IsBiosSection(section) ? bios : state.present;
    for (const Setting* setting : source.Of(section)) state.next.Add(*setting);
  }
  return state;
}

}  // namespace Planning
