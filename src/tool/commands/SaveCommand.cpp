#include "tool/commands/SaveCommand.h"

#include <algorithm>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"
#include "plan/ConfigurationFile.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/targets/Targets.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// The module, showing which section it is at.
class ShownSaveRestore final : public SDK::SaveRestore {
 public:
  explicit ShownSaveRestore(Progress& progress) : progress_(progress) {}

 protected:
  void SectionStarted(const std::string& name) override { progress_.Section(name); }

 private:
  Progress& progress_;
};

/// What a save has come to.
struct Saved {
  Mode mode;
  unsigned queries;
};

/// Runs the module over the target. \throws as RunSave.
Saved SaveTo(const std::string& file, const SaveRequest& request, const Messages& messages) {
  Progress progress(messages.ShowsProgress());
  const WatchedTarget target(request.openTarget, messages, &progress);
  const Mode mode = request.mode.value_or(ModeOf(target.Providers()));
  CheckMode(target.Providers(), mode);
  ShownSaveRestore(progress).Save(OptionsFor(file, mode));
  target.ThrowIfSilent();
  return {mode, target.Queries()};
}

/// Reads the saved file back, the way a restore will, and says what a person should know of it.
std::string Review(const std::string& path, Mode mode, const Messages& messages) {
  const ConfigurationFile file(path);
  if (file.Lines() != nullptr && !file.Lines()->IsWellFormed()) {
    throw ToolError(ExitFailed, "the saved file cannot be read back");
  }
  const Configuration& content = file.Content();
  for (const Setting& setting : content.Settings()) {
    if (setting.section != "SYSTEM" || !setting.value.empty()) continue;
    messages.Warning("the target does not tell its " + setting.key +
                     ": a restore of this file will need --skip-system-check");
  }
  const bool hasBios = std::ranges::any_of(content.Sections(), [](const std::string& section) {
    return IsBiosSection(section) && !IsBootOrder(section);
  });
  if (mode != ModeBmc && !hasBios) {
    messages.Warning("the target shows no BIOS setting that can be saved");
  }
  return Counted(content.Sections().size(), "section") + ", " +
         Counted(content.Settings().size(), "key");
}

}  // namespace

void RunSave(const SaveRequest& request, const Messages& messages) {
  CheckDestination(request.file, request.overwrite);
  Common::AtomicFile file(request.file);
  const Saved saved = SaveTo(file.TemporaryPath(), request, messages);
  const std::string outcome = Review(file.TemporaryPath(), saved.mode, messages) + ", " +
                              std::to_string(saved.queries) + " queries";
  ThrowIfInterrupted();
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  messages.Result("Saved " + request.file + ": " + outcome + ".");
}

}  // namespace Tool
