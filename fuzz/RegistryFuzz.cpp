// Hostile registry files: what is made of them is a machine file.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "Check.h"
#include "providers/machine/MachineFile.h"
#include "providers/redfish/SetupTree.h"
#include "tool/commands/RegistryCommand.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nlohmann::json registry = nlohmann::json::parse(data, data + size, nullptr, false);
  if (!registry.is_object()) return 0;
  const std::string machine = Machine::RenderMachine(
      Tool::MachineOfRegistry(Redfish::AttributesOfRegistry(registry), registry));
  try {
    Fuzz::SaveAll(std::make_shared<Fuzz::TreeServer>(Machine::ParseMachine(machine).nodes));
  } catch (const Machine::MalformedMachine& fault) {
    Fuzz::Require(false, "a machine file: " + machine + "\n" + fault.what());
  }
  return 0;
}
