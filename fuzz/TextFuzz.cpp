// Hostile text files: as layers with placeholders, and planned against a small server, which is
// what a restore does before it asks.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "Check.h"
#include "common/Descriptor.h"
#include "plan/Document.h"
#include "plan/Layers.h"
#include "plan/Plan.h"
#include "plan/Server.h"
#include "providers/machine/MachineFile.h"

namespace {

using Planning::Server;

/// A server with a setting of each kind.
constexpr const char* kServer = R"({
"format": "saverestore-machine/1",
"nodes": {
"/BIOS": {"kind": 1, "values": ["/BIOS/Main"]},
"/BIOS/Main": {"kind": 1, "values": ["/BIOS/Main/Quiet Boot", "/BIOS/Main/Timeout", "/BIOS/Main/Tag"]},
"/BIOS/Main/Quiet Boot": {"values": ["1"], "options": {"0": "Disabled", "1": "Enabled"}},
"/BIOS/Main/Tag": {"values": ["a;b"], "length": [0, 16]},
"/BIOS/Main/Timeout": {"values": ["10"], "range": [0, 65535], "step": 5},
"/BIOS/BootOrder": {"values": ["/BIOS/BootOrder[1]", "/BIOS/BootOrder[2]"]},
"/BIOS/BootOrder[1]": {"values": ["Disk A"]},
"/BIOS/BootOrder[2]": {"values": ["Network"]},
"/SMBIOS/Type0/BIOSVersion": {"values": ["1.0"]},
"/BMC/INFO": {"values": ["/BMC/INFO/VERSION"]},
"/BMC/INFO/VERSION": {"values": ["1.2"], "writable": false},
"/BMC/SYSTEM": {"values": ["/BMC/SYSTEM/PowerRestorePolicy"]},
"/BMC/SYSTEM/PowerRestorePolicy": {"values": ["ON"], "options": {"ON": "On", "OFF": "Off"}},
"/BMC/LAN": {"values": ["/BMC/LAN[1]"]},
"/BMC/LAN[1]": {"values": ["/BMC/LAN[1]/IP"]},
"/BMC/LAN[1]/IP": {"values": ["192.0.2.10"]},
"/BMC/USER": {"values": ["/BMC/USER[1]", "/BMC/USER[2]"]},
"/BMC/USER[1]": {"values": ["/BMC/USER[1]/NAME", "/BMC/USER[1]/STATUS"]},
"/BMC/USER[1]/NAME": {"values": [""]},
"/BMC/USER[1]/STATUS": {"values": ["ENABLE"]},
"/BMC/USER[2]": {"values": ["/BMC/USER[2]/NAME", "/BMC/USER[2]/STATUS"]},
"/BMC/USER[2]/NAME": {"values": ["admin"]},
"/BMC/USER[2]/STATUS": {"values": ["ENABLE"]}
}})";

void TryPlan(const Planning::Request& request, const Server& server) {
  Fuzz::Try([&] {
    const Planning::Plan plan = Planning::MakePlan(request, server);
    for (const Planning::Finding& finding : plan.findings) {
      static_cast<void>(Planning::Describe(finding, request.name));
    }
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Common::Descriptor memory(memfd_create("file.ini", MFD_CLOEXEC));
  if (write(memory.Get(), data, size) != static_cast<ssize_t>(size)) return 0;
  const std::string path = "/proc/self/fd/" + std::to_string(memory.Get());

  static const auto provider =
      std::make_shared<Fuzz::TreeServer>(Machine::ParseMachine(kServer).nodes);
  const Server server(Planning::AllTrees(provider));
  Fuzz::Try([&] { TryPlan(Planning::RequestOfFile(path, {}), server); });
  Fuzz::Try([&] {
    const Planning::Layer layer = Planning::ReadLayer(path, {{"A", "1"}, {"NAME", "[x]=\t;"}});
    Fuzz::RequireSameWhenWritten(layer.content);
    static const Planning::Configuration present =
        Planning::ConfigurationOfTarget(Planning::ModeAll);
    const Planning::LaidRequest laid = Planning::RequestOfLayers({layer}, {}, {present, present});
    TryPlan(laid.request, server);
  });
  return 0;
}
