#include "plan/Backup.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"
#include "plan/ConfigurationFile.h"
#include "plan/Failure.h"

namespace Planning {
namespace {

namespace fs = std::filesystem;

/// The module, telling which section it is at.
class ShownSaveRestore final : public SDK::SaveRestore {
 public:
  explicit ShownSaveRestore(const SectionObserver& observer) : observer_(observer) {}

 protected:
  void SectionStarted(const std::string& name) override {
    if (observer_) observer_(name);
  }

 private:
  const SectionObserver& observer_;
};

/// The present time, in the form that sorts.
std::string Now() {
  std::array<char, 32> date = {};
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  localtime_r(&now, &parts);
  std::strftime(date.data(), date.size(), "%Y%m%d-%H%M%S", &parts);
  return date.data();
}

/// A name in `folder` that no file has: NAME-before-DATE.ini, or with a number for a second restore
/// within one second.
std::string BackupName(const fs::path& folder, const std::string& name) {
  const std::string base = (folder / (name + "-before-" + Now())).string();
  std::string file = base + ".ini";
  std::error_code error;
  for (int number = 2; fs::exists(fs::symlink_status(file, error)); ++number) {
    file = base + "-" + std::to_string(number) + ".ini";
  }
  return file;
}

}  // namespace

void SaveInto(Common::AtomicFile& file, Mode mode, const Server& server,
              const SectionObserver& observer) {
  try {
    ShownSaveRestore(observer).Save(OptionsFor(file.TemporaryPath(), mode));
  } catch (const ResultStatus& failure) {
    // The module names neither the file nor what is wrong with the disk.
    const bool isUnwritten = failure.getval() == ErrorManager::CannotWriteFile ||
                             failure.getval() == ErrorManager::StreamSaveFailed;
    if (isUnwritten) file.RaiseWhyFull();
    throw;
  }
  server.ThrowIfSilent();
}

Saved ReviewSaved(const std::string& path, Mode mode) {
  const ConfigurationFile file(path);
  if (file.Lines() != nullptr && !file.Lines()->IsWellFormed()) {
    throw Failure(Failure::Kind::Failed, "the saved file cannot be read back");
  }
  const Configuration& content = file.Content();
  Saved saved{path, content.Sections().size(), content.Settings().size(), {}};
  for (const Setting& setting : content.Settings()) {
    if (setting.section != "SYSTEM" || !setting.value.empty()) continue;
    saved.warnings.push_back("the target does not tell its " + setting.key +
                             ": a restore of this file will need --skip-system-check");
  }
  const bool hasBios = std::ranges::any_of(content.Sections(), [](const std::string& section) {
    return IsBiosSection(section) && !IsBootOrder(section);
  });
  if (mode != ModeBmc && !hasBios) {
    saved.warnings.emplace_back("the target shows no BIOS setting that can be saved");
  }
  return saved;
}

Saved SaveBackup(const Plan& plan, const std::string& folder, const Server& server) {
  const fs::path wanted(plan.request.name);
  const std::string name =
      BackupName(folder.empty() ? wanted.parent_path() : fs::path(folder), wanted.stem().string());
  Common::AtomicFile file(name);
  SaveInto(file, plan.request.mode, server);
  Saved saved = ReviewSaved(file.TemporaryPath(), plan.request.mode);
  file.Commit(Common::AtomicFile::Existing::Keep);
  saved.file = name;
  return saved;
}

}  // namespace Planning
