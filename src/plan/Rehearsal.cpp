#include "plan/Rehearsal.h"

#include <algorithm>
#include <map>
#include <set>

#include "modules/save/SaveRestore.h"
#include "modules/save/SerialPorts.h"
#include "plan/Layers.h"

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
  void ValueTakenFrom(const std::string& path, const std::string& section, const std::string& key,
                      const std::string& value) override {
    rehearsal_.taken.push_back({path, section, key, value});
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
  /// `whyNoBmc` is a part of a sentence, empty where the BMC takes part.
  std::vector<SystemMismatch> Compare(const std::string& file, const std::string& whyNoBmc) {
    DefineSections(ModeBios);
    std::vector<SystemMismatch> mismatches;
    const std::vector<SDK::Data> items = sections.front().items;
    for (const SDK::Data& item : items) {
      sections.front().items = {item};
      if (!whyNoBmc.empty() && item.query.starts_with("/BMC/")) {
        mismatches.push_back({0,
                              item.key +
                                  " is not compared, since only the BIOS is written and the BMC "
                                  "cannot be asked: " +
                                  whyNoBmc,
                              true});
        continue;
      }
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
  const SDK::SerialPortMemory memory;  // the restore that follows starts where this one did
  try {
    RehearsedRestore(rehearsal).Restore(options);
  } catch (const ResultStatus& failure) {
    rehearsal.failures.push_back(failure);
  }
  MountTarget(target);
  return rehearsal;
}

Configuration WithTakenValues(const Configuration& file, const Configuration& machine,
                              const std::vector<TakenValue>& taken) {
  const auto isTaken = [&](const Setting& setting) {
    return std::ranges::any_of(taken, [&](const TakenValue& value) {
      return value.section == setting.section && value.key == setting.key;
    });
  };
  std::vector<const Setting*> left;
  std::set<std::string> moved;  // sections that the machine has by other names
  for (const Setting& setting : file.Settings()) {
    const bool isOwn = machine.Find(setting.section, setting.key) != nullptr;
    if (isOwn || !isTaken(setting)) {
      left.push_back(&setting);
    } else if (!machine.HasSection(setting.section)) {
      moved.insert(setting.section);
    }
  }
  Configuration asRead;
  for (const std::string& section : file.Sections()) {
    const bool isEmpty = std::ranges::find(left, section, &Setting::section) == left.end();
    if (!isEmpty || !moved.contains(section)) asRead.AddSection(section);
  }
  for (const Setting* setting : left) asRead.Add(*setting);
  for (const Setting& setting : machine.Settings()) {
    const auto value = std::ranges::find(taken, setting.path, &TakenValue::path);
    if (value == taken.end()) continue;
    asRead.AddSection(setting.section);
    asRead.Add({setting.section, setting.key, value->value, "", ""});
  }
  return asRead;
}

Configuration AsRead(const Configuration& file, const Configuration& machine, Mode mode,
                     const Mounts& target) {
  const bool isComplete = std::ranges::all_of(machine.Settings(), [&](const Setting& setting) {
    return !IsBiosSection(setting.section) || file.Find(setting.section, setting.key) != nullptr;
  });
  if (isComplete) return file;
  const TransientFile text(file);
  Request restore;
  restore.file = text.Path();
  restore.mode = mode;
  restore.skipBootOrder = true;
  return WithTakenValues(file, machine, Rehearse(restore, target).taken);
}

std::vector<SystemMismatch> SystemMismatches(const std::string& file, Mode mode,
                                             const Mounts& mounts) {
  const auto bmc = mounts.find("BMC");
  std::string whyNoBmc;
  if (mode == ModeBios && bmc == mounts.end()) {
    whyNoBmc = "the target has none";
  } else if (mode == ModeBios && bmc->second.refusal) {
    whyNoBmc = bmc->second.refusal->message();
  }
  return SystemComparison().Compare(file, whyNoBmc);
}

}  // namespace Planning
