#include "tool/Systemd.h"

#include <dlfcn.h>

#include <optional>

namespace Tool {
namespace {

constexpr const char* kSystemdLibrary = "libsystemd.so.0";

std::optional<Systemd> FindSystemd() {
  void* library = dlopen(kSystemdLibrary, RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) return std::nullopt;
  bool isWhole = true;
  const auto find = [&]<typename Function>(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    isWhole = isWhole && function != nullptr;
  };
  Systemd systemd = {};
  find(systemd.booted, "sd_booted");
  find(systemd.sendToJournal, "sd_journal_sendv");
  find(systemd.newBus, "sd_bus_new");
  find(systemd.setAddress, "sd_bus_set_address");
  find(systemd.startBus, "sd_bus_start");
  find(systemd.callMethod, "sd_bus_call_method");
  find(systemd.closeBus, "sd_bus_flush_close_unref");
  if (!isWhole) return std::nullopt;
  return systemd;
}

}  // namespace

const Systemd* LoadSystemd() {
  static const std::optional<Systemd> systemd = FindSystemd();
  return systemd ? &*systemd : nullptr;
}

}  // namespace Tool
