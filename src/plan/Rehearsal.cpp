#include "plan/Rehearsal.h"

#include <map>

#include "modules/save/SaveRestore.h"

namespace Planning {
namespace {

/// The restore, which goes on where it would fail for a missing key and keeps what it has to say.
class RehearsedRestore final : public SDK::SaveRestore {
 public:
  explicit RehearsedRestore(Rehearsal& rehearsal) : rehearsal_(rehearsal) {}

 protected:
  void KeyMissing(const std::string& section, const std::string& key) override {
    rehearsal_.missingKeys.push_back(section + "::" + key);
  }
  void ValueRefused(const std::string& section, const std::string& key) override {
    rehearsal_.refused = section + "::" + key;
  }
  void PrintSkip(const std::string& text) override { AddOnce(rehearsal_.skipped, text); }

 private:
  Rehearsal& rehearsal_;
};

std::string BothValues(const std::string& key, const std::string& ofFile,
                       const std::string& ofMachine) {
  return key + " is \"" + ofFile + "\" in the file and \"" + ofMachine + "\" on this machine";
}

/// The module's comparison of [SYSTEM], one item at a time so that none hides another.
class SystemComparison final : public SDK::SaveRestore {
 public:
  std::vector<SystemMismatch> Compare(const std::string& file) {
    DefineSections(ModeBios);
    std::vector<SystemMismatch> mismatches;
    const std::vector<SDK::Data> items = sections.front().items;
    for (const SDK::Data& item : items) {
      sections.front().items = {item};
      std::map<std::string, std::string> ofMachine;
      std::map<std::string, std::string> ofFile;
      try {
        GetSystemInfoFromSystem(ofMachine);
        GetSystemInfoFromFile(ofFile, file.c_str());
        if (ofMachine.empty()) break;  // a board that ends the comparison here
        CompareSystemValue(item.key, ofFile[item.key], ofMachine[item.key]);
        if (ofFile[item.key] != ofMachine[item.key]) {
          mismatches.push_back(
              {0, "the versions are near, not equal: " +
                      BothValues(item.key, ofFile[item.key], ofMachine[item.key])});
        }
      } catch (const ResultStatus& failure) {
        const std::string what =
            ofFile.empty() ? item.key : BothValues(item.key, ofFile[item.key], ofMachine[item.key]);
        mismatches.push_back(
            {failure.getval(),
             WithDetail(failure.message(), what + "; error " + std::to_string(failure.getval()))});
      }
    }
    return mismatches;
  }
};

}  // namespace

void AddOnce(std::vector<std::string>& lines, const std::string& line) {
  if (lines.empty() || lines.back() != line) lines.push_back(line);
}

std::string WithDetail(std::string sentence, const std::string& detail) {
  if (sentence.ends_with('.')) sentence.pop_back();
  return sentence + " (" + detail + ")";
}

Rehearsal Rehearse(const Request& request, const Mounts& target) {
  SDK::SavenRestoreOptions options = OptionsFor(request.file, request.mode);
  Rehearsal rehearsal;
  MountTarget(Wrapped(target, [&](const std::shared_ptr<SDK::QueryProvider>& provider) {
    return std::make_shared<RecordingProvider>(provider, rehearsal.writes);
  }));
  options.skipSystemCheck = true;
  options.skipBootOrder = request.skipBootOrder;
  const AheadView ahead(target);
  try {
    RehearsedRestore(rehearsal).Restore(options);
  } catch (const ResultStatus& failure) {
    rehearsal.failures.push_back(failure);
  }
  MountTarget(target);
  return rehearsal;
}

std::vector<SystemMismatch> SystemMismatches(const std::string& file) {
  return SystemComparison().Compare(file);
}

}  // namespace Planning
