#pragma once

#define SD_JOURNAL_SUPPRESS_LOCATION  // a place in our sources tells an administrator nothing
#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-journal.h>

namespace Tool {

/// The functions of libsystemd that we call. The library is loaded when they are asked for: it
/// brings five others, and most runs have nothing to tell it.
struct Systemd {
  decltype(&sd_booted) booted;
  decltype(&sd_journal_sendv) sendToJournal;
  decltype(&sd_bus_new) newBus;
  decltype(&sd_bus_set_address) setAddress;
  decltype(&sd_bus_start) startBus;
  decltype(&sd_bus_call_method) callMethod;
  decltype(&sd_bus_flush_close_unref) closeBus;
};

/// Null where libsystemd is not installed.
[[nodiscard]] const Systemd* LoadSystemd();

}  // namespace Tool
