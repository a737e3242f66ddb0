#include "tool/SaveCommand.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <string_view>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "ini/IniDocument.h"
#include "modules/save/SaveRestore.h"
#include "tool/ExitCodes.h"
#include "tool/Interrupt.h"
#include "tool/ObservedProvider.h"
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

void CheckDestination(const SaveRequest& request) {
  const std::filesystem::path file(request.file);
  const std::string extension = file.extension().string();
  if (std::ranges::find(kExtensions, extension) == kExtensions.end()) {
    throw ToolError(ExitUsage, "\"" + request.file + "\" must end in .ini");
  }
  std::error_code error;
  const auto type = std::filesystem::symlink_status(file, error).type();
  if (type == std::filesystem::file_type::not_found || type == std::filesystem::file_type::none) {
    return;  // an unreadable folder shows when the file is created
  }
  if (!std::filesystem::is_regular_file(file, error)) {
    throw ToolError(ExitFailed, "\"" + request.file + "\" exists and is not a regular file");
  }
  if (!request.overwrite) {
    throw ToolError(ExitFailed, "\"" + request.file + "\" exists; --overwrite replaces it");
  }
}

SDK::SavenRestoreOptions OptionsFor(const std::string& file, int mode) {
  SDK::SavenRestoreOptions options = {};
  if (file.size() >= sizeof options.fileName) {
    throw ToolError(ExitUsage, "the file name is longer than 1023 bytes");
  }
  file.copy(options.fileName, sizeof options.fileName - 1);
  options.mode = mode;
  return options;
}

/// The failures that must not end up in a file as empty values: with them the target has not said
/// that it lacks the setting, it has not said anything.
bool SaysNothing(const ResultStatus& failure) {
  return failure.getval() == ErrorManager::Unreachable ||
         failure.getval() == ErrorManager::NotPermitted;
}

/// Runs the module over the target. \throws as RunSave.
void SaveTo(const std::string& file, const SaveRequest& request, Progress& progress,
            const Messages& messages) {
  std::optional<ResultStatus> silence;
  QueryObserver observer;
  observer.onQuery = [&](const std::string& path) {
    ThrowIfInterrupted();
    progress.Query();
    messages.Detail("read " + path);
  };
  observer.onFailure = [&](const std::string& path, const ResultStatus& failure) {
    messages.Detail("read " + path + ": " + failure.message());
    if (!silence && SaysNothing(failure)) silence = failure;
  };
  MountTarget(std::make_shared<ObservedProvider>(request.openTarget(), observer));
  ShownSaveRestore(progress).Save(OptionsFor(file, request.mode));
  if (silence) throw ResultStatus(*silence);
}

/// Reads the saved file back, the way a restore will, and says what a person should know of it.
std::string Review(const std::string& file, const SaveRequest& request, const Messages& messages) {
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
  if (request.mode != 1 && !hasBios) {
    messages.Warning("the target shows no BIOS setting that can be saved");
  }
  return std::to_string(document.Sections().size()) + " sections, " +
         std::to_string(document.Entries().size()) + " keys";
}

}  // namespace

void RunSave(const SaveRequest& request, const Messages& messages) {
  CheckDestination(request);
  Common::AtomicFile file(request.file);
  std::string outcome;
  {
    Progress progress(messages.ShowsProgress());
    SaveTo(file.TemporaryPath(), request, progress, messages);
    outcome = std::to_string(progress.Queries()) + " queries";
  }
  outcome = Review(file.TemporaryPath(), request, messages) + ", " + outcome;
  ThrowIfInterrupted();
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  messages.Result("Saved " + request.file + ": " + outcome + ".");
}

}  // namespace Tool
