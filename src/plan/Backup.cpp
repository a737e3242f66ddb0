#include "plan/Backup.h"

#include <algorithm>

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"
#include "plan/ConfigurationFile.h"
#include "plan/Failure.h"

namespace Planning {
namespace {

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

/// The names of the settings whose value is too long for a restore, one behind the other.
std::string LongValues(const Configuration& content) {
  std::string names;
  for (const Setting& setting : content.Settings()) {
    if (setting.value.size() <= kLongestRead) continue;
    names += (names.empty() ? "" : ", ") + setting.Name();
  }
  return names;
}

}  // namespace

void SaveInto(Common::AtomicFile& file, Mode mode, const Server& server,
              const SectionObserver& observer) {
  CheckFileName(file.Destination());
  server.Expect(mode);
  try {
    ShownSaveRestore(observer).Save(
        OptionsFor(file.TemporaryPathWithin(SDK::kLongestFileName), mode));
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
                             ": a restore of this file may need --skip-system-check");
  }
  // The text form is read with a limit that the stream form does not have.
  if (const std::string names = LongValues(content); file.Lines() != nullptr && !names.empty()) {
    saved.warnings.push_back(
        "longer than " + std::to_string(kLongestRead) +
        " bytes, so that a restore takes it from a stream file (.scf) only: " + names);
  }
  const bool hasBios = std::ranges::any_of(content.Sections(), [](const std::string& section) {
    return IsBiosSection(section) && !IsBootOrder(section);
  });
  if (mode != ModeBmc && !hasBios) {
    saved.warnings.emplace_back("the target shows no BIOS setting that can be saved");
  }
  return saved;
}

Saved SaveBackup(const std::string& name, Mode mode, const Server& server) {
  Common::AtomicFile file(name);
  SaveInto(file, mode, server);
  Saved saved = ReviewSaved(file.TemporaryPath(), mode);
  file.Commit(Common::AtomicFile::Existing::Keep);
  saved.file = name;
  return saved;
}

}  // namespace Planning
