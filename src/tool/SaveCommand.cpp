#include "tool/SaveCommand.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "ini/IniDocument.h"
#include "modules/save/SaveRestore.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/Interrupt.h"
#include "tool/Progress.h"
#include "tool/Targets.h"

namespace Tool {
namespace {

constexpr auto kExtensions = std::to_array<std::string_view>({".ini", ".INI"});

/// The module, showing which section it is at.
class ShownSaveRestore final : public SDK::SaveRestore {
 public:
  explicit ShownSaveRestore(Progress& progress) : progress_(progress) {}

 protected:
  void SectionStarted(const std::string& name) override { progress_.Section(name); }

 private:
  Progress& progress_;
};

void CheckFile(const SaveRequest& request) {
  const std::filesystem::path file(request.file);
  const std::string extension = file.extension().string();
  if (std::ranges::find(kExtensions, extension) == kExtensions.end()) {
    throw ToolError(ExitUsage, "\"" + request.file + "\" must end in .ini");
  }
  CheckDestination(request.file, request.overwrite);
}

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
  ShownSaveRestore(progress).Save(OptionsFor(file, mode));
  target.ThrowIfSilent();
  return {mode, target.Queries()};
}

/// Reads the saved file back, the way a restore will, and says what a person should know of it.
std::string Review(const std::string& file, Mode mode, const Messages& messages) {
  IniDocument document;
  if (document.Load(file.c_str()) != IniDocument::Status::Ok || !document.IsWellFormed()) {
    throw ToolError(ExitFailed, "the saved file cannot be read back: " + document.Reason());
  }
  bool hasBios = false;
  for (const IniDocument::Section& section : document.Sections()) {
    hasBios = hasBios || (section.name.starts_with("BIOS::") && section.name != "BIOS::BootOrder");
  }
  for (const IniDocument::Entry& entry : document.Entries()) {
    if (document.Sections()[entry.section].name != "SYSTEM" || !entry.value.empty()) continue;
    messages.Warning("the target does not tell its " + std::string(entry.key) +
                     ": a restore of this file will need --skip-system-check");
  }
  if (mode != ModeBmc && !hasBios) {
    messages.Warning("the target shows no BIOS setting that can be saved");
  }
  return std::to_string(document.Sections().size()) + " sections, " +
         std::to_string(document.Entries().size()) + " keys";
}

}  // namespace

void RunSave(const SaveRequest& request, const Messages& messages) {
  CheckFile(request);
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
