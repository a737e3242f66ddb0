#include "tool/Rehearsal.h"

#include <map>

#include "common/ErrorManager.h"
#include "modules/save/SaveRestore.h"

namespace Tool {
namespace {

/// The restore, which goes on where it would fail for a missing key and keeps what it has to say.
class RehearsedRestore final : public SDK::SaveRestore {
 public:
  explicit RehearsedRestore(Rehearsal& rehearsal) : rehearsal_(rehearsal) {}

 protected:
  void KeyMissing(const std::string& section, const std::string& key) override {
    rehearsal_.missingKeys.push_back(section + "::" + key);
  }
  void PrintSkip(const std::string& text) override { rehearsal_.skipped.push_back(text); }

 private:
  Rehearsal& rehearsal_;
};

/// The module's comparison of [SYSTEM], item by item.
class SystemComparison final : public SDK::SaveRestore {
 public:
  explicit SystemComparison(const std::string& file) {
    DefineSections(ModeBios);
    Collect([&] { GetSystemInfoFromSystem(ofMachine_); }, ofMachine_);
    Collect([&] { GetSystemInfoFromFile(ofFile_, file.c_str()); }, ofFile_);
    for (const auto& [key, value] : ofMachine_) {
      const auto other = ofFile_.find(key);
      if (other == ofFile_.end()) continue;
      try {
        CompareSystemValue(key, other->second, value);
      } catch (const ResultStatus& failure) {
        Add(failure, key + " is \"" + other->second + "\" in the file and \"" + value +
                         "\" on this machine");
      }
    }
  }

  [[nodiscard]] const std::vector<SystemMismatch>& Mismatches() const { return mismatches_; }

 private:
  /// Reads one side, which stops at the first value that it cannot get.
  template <typename Read>
  void Collect(Read read, const std::map<std::string, std::string>& values) {
    try {
      read();
    } catch (const ResultStatus& failure) {
      for (const SDK::Data& item : sections.front().items) {
        if (!values.contains(item.key)) return Add(failure, item.key);
      }
    }
  }

  void Add(const ResultStatus& failure, const std::string& what) {
    mismatches_.push_back({failure.getval(), failure.message() + " (" + what + "; error " +
                                                 std::to_string(failure.getval()) + ")"});
  }

  std::map<std::string, std::string> ofFile_;
  std::map<std::string, std::string> ofMachine_;
  std::vector<SystemMismatch> mismatches_;
};

}  // namespace

Rehearsal Rehearse(const RestoreChoice& choice, const Mounts& target) {
  Rehearsal rehearsal;
  MountTarget(Wrapped(target, [&](const std::shared_ptr<SDK::QueryProvider>& provider) {
    return std::make_shared<RecordingProvider>(provider, rehearsal.writes);
  }));
  SDK::SavenRestoreOptions options = OptionsFor(choice.file, choice.mode);
  options.skipSystemCheck = true;
  options.skipBootOrder = choice.skipBootOrder;
  try {
    RehearsedRestore(rehearsal).Restore(options);
  } catch (const ResultStatus& failure) {
    rehearsal.failures.push_back(failure);
  }
  MountTarget(target);
  return rehearsal;
}

std::vector<SystemMismatch> SystemMismatches(const std::string& file) {
  return SystemComparison(file).Mismatches();
}

}  // namespace Tool
