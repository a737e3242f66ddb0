#include "tool/guard/OwnUnit.h"

#include <unistd.h>
#ifdef SAVERESTORE_SYSTEMD
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <thread>

#include "tool/Systemd.h"
#endif

namespace Tool {

#ifdef SAVERESTORE_SYSTEMD
namespace {

/// The manager's own socket, which root reaches also where no message bus runs.
constexpr const char* kManager = "unix:path=/run/systemd/private";
constexpr std::chrono::seconds kTimeToMove{5};

std::string TextOf(int error) {
  return std::generic_category().message(-error);
}

/// Asks for the unit. \return as GiveOwnUnit
std::string Ask(const Systemd& systemd, const std::string& unit, pid_t process) {
  sd_bus* raw = nullptr;
  if (const int made = systemd.newBus(&raw); made < 0) return TextOf(made);
  const std::unique_ptr<sd_bus, decltype(systemd.closeBus)> bus(raw, systemd.closeBus);
  systemd.setAddress(raw, kManager);
  if (const int started = systemd.startBus(raw); started < 0) return TextOf(started);
  const int done =
      systemd.callMethod(raw, "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                         "org.freedesktop.systemd1.Manager", "StartTransientUnit", nullptr, nullptr,
                         "ssa(sv)a(sa(sv))", unit.c_str(), "fail", 3,                         //
                         "Description", "s", "Takes a configuration back unless it is kept",  //
                         "PIDs", "au", 1, static_cast<std::uint32_t>(process),                //
                         "CollectMode", "s", "inactive-or-failed",                            //
                         0);
  return done < 0 ? TextOf(done) : "";
}

bool IsIn(const std::string& unit, pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/cgroup");
  const std::string groups{std::istreambuf_iterator<char>(file), {}};
  return groups.find(unit) != std::string::npos;
}

}  // namespace

std::string GiveOwnUnit(pid_t process) {
  if (geteuid() != 0) return "";
  const Systemd* systemd = LoadSystemd();
  if (systemd == nullptr || systemd->booted() <= 0) return "";
  const std::string unit = "saverestore-confirm-" + std::to_string(process) + ".scope";
  if (std::string reason = Ask(*systemd, unit, process); !reason.empty()) return reason;
  // The answer is that systemd has begun with it.
  const auto end = std::chrono::steady_clock::now() + kTimeToMove;
  while (!IsIn(unit, process)) {
    if (std::chrono::steady_clock::now() > end) return "systemd has not moved it";
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return "";
}
#else
std::string GiveOwnUnit(pid_t /*process*/) {
  return "";
}
#endif

}  // namespace Tool
