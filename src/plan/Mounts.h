#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/ResultStatus.h"
#include "plan/Configuration.h"
#include "query/QueryProvider.h"

namespace Planning {

/// A provider for one tree.
struct Mount {
  std::shared_ptr<SDK::QueryProvider> provider;
  /// It knows little of the tree, and answers for it while no other target does.
  bool isStandIn = false;
  /// Why the tree may not be used, though the machine has it.
  std::optional<ResultStatus> refusal = {};
  /// It has the whole tree, and gives way to another target that has it too.
  bool givesWay = false;
};

/// Stands for a tree that may not be used, while no other target answers for it: it has no nodes.
[[nodiscard]] Mount Refused(const ResultStatus& refusal);

/// Which provider answers for which tree ("BMC", "BIOS", "SMBIOS").
using Mounts = std::map<std::string, Mount>;

/// `provider` for all trees.
[[nodiscard]] Mounts AllTrees(const std::shared_ptr<SDK::QueryProvider>& provider);

/// Mounts providers in the place of all earlier ones.
void MountTarget(const Mounts& mounts);

/// The same mounts with `wrap` around each provider, once for one that has several trees.
using Wrapper = std::function<std::shared_ptr<SDK::QueryProvider>(
    const std::shared_ptr<SDK::QueryProvider>& provider)>;
[[nodiscard]] Mounts Wrapped(const Mounts& mounts, const Wrapper& wrap);

/// As long as this lives, reads see what each server will have after its next boot
/// (`QueryProvider::LookAhead`): what a restore compares with.
class AheadView {
 public:
  explicit AheadView(const Mounts& mounts);
  AheadView(const AheadView&) = delete;
  AheadView& operator=(const AheadView&) = delete;
  ~AheadView();

 private:
  const Mounts& mounts_;
};

/// The notes of all providers on their writes (`QueryProvider::TakeWriteNotes`).
[[nodiscard]] std::vector<SDK::WriteNote> TakeWriteNotes(const Mounts& mounts);

/// The mode that covers what is mounted; a stand-in is not worth one.
[[nodiscard]] Mode ModeOf(const Mounts& mounts);

/// True when a save or restore of `mode` needs `tree` ("BIOS", "BMC", "SMBIOS").
[[nodiscard]] bool NeedsTree(Mode mode, std::string_view tree);

/// A part that nothing is mounted for would be saved as empty, or restored to nobody.
/// \throws Failure  usage: `mode` asks for such a part. \throws ResultStatus  for one that may not
///         be used, its refusal.
void CheckMode(const Mounts& mounts, Mode mode);

}  // namespace Planning
