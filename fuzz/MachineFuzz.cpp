// Hostile machine files: read, written again, and saved as a server.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Check.h"
#include "providers/machine/MachineFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const Machine::MachineImage machine = Machine::ParseMachine(text);
    const std::string written = Machine::RenderMachine(machine);
    try {
      const Machine::MachineImage again = Machine::ParseMachine(written);
      Fuzz::Require(Machine::RenderMachine(again) == written, "twice the same text:\n" + written);
    } catch (const Machine::MalformedMachine& fault) {
      Fuzz::Require(false, "what was written reads: " + written + "\n" + fault.what());
    }
    Fuzz::SaveAll(std::make_shared<Fuzz::TreeServer>(machine.nodes, machine.platform));
  } catch (const Machine::MalformedMachine& fault) {
    Fuzz::Require(fault.line > 0, "a fault has a line");
  }
  return 0;
}
