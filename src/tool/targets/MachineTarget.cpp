#include "tool/targets/MachineTarget.h"

#include "providers/machine/MachineProvider.h"

namespace Tool {
namespace {

class MachineKind final : public TargetKind {
 public:
  [[nodiscard]] Planning::Mounts Open(const std::string& place,
                                      const PasswordSource& /*bmcPassword*/) const override {
    return Planning::AllTrees(std::make_shared<Machine::MachineProvider>(place));
  }
};

}  // namespace

std::unique_ptr<TargetKind> MakeMachineKind() {
  return std::make_unique<MachineKind>();
}

}  // namespace Tool
