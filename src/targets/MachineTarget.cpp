#include <array>

#include "providers/machine/MachineProvider.h"
#include "targets/Rows.h"

namespace Targets {
namespace {

Planning::Mounts Open(const OpenRequest& request) {
  return Planning::AllTrees(std::make_shared<Machine::MachineProvider>(request.place));
}

constexpr auto kRows = std::to_array<TargetRow>({
    {"machine", "machine:FILE", "a simulated server that lives in a JSON file", {}, Open},
});

}  // namespace

std::span<const TargetRow> MachineRows() {
  return kRows;
}

}  // namespace Targets
