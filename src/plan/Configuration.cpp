#include "plan/Configuration.h"

#include <algorithm>
#include <cctype>

#include "modules/save/Expansion.h"
#include "modules/save/SaveRestore.h"
#include "plan/Failure.h"

namespace Planning {
namespace {

/// Collects the rows of a save.
class ConfigurationSink final : public SDK::RowSink {
 public:
  explicit ConfigurationSink(Configuration& configuration) : configuration_(configuration) {}

  void BeginSection(const std::string& name) override {
    section_ = name.substr(1, name.size() - 2);
    configuration_.AddSection(section_);
  }
  void Write(const SDK::Row& row) override {
    configuration_.Add({section_, row.key, row.value, row.comment, row.path});
  }

 private:
  Configuration& configuration_;
  std::string section_;
};

/// The save walks, into a sink of ours.
class CollectingSaveRestore final : public SDK::SaveRestore {
 public:
  Configuration Collect(Mode mode) {
    Configuration configuration;
    ConfigurationSink sink(configuration);
    DefineSections(mode);
    SaveSections(sink);
    if (mode != ModeBmc) SaveBiosConfiguration(sink);
    return configuration;
  }
};

/// Of the sections of the BMC part only [SYSTEM] says nothing of the BMC's settings.
bool IsBmcSection(const std::string& section) {
  return section != "SYSTEM" && !IsBiosSection(section);
}

}  // namespace

std::string Upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return text;
}

const char* NameOf(Mode mode) {
  return std::ranges::find(kModeNames, mode, &ModeName::mode)->name;
}

void Configuration::AddSection(const std::string& name) {
  if (sectionNames_.insert(name).second) sections_.push_back(name);
}

void Configuration::Add(Setting setting) {
  const auto [place, isNew] = index_.try_emplace({setting.section, setting.key}, settings_.size());
  if (isNew) {
    settings_.push_back(std::move(setting));
  } else {
    settings_[place->second] = std::move(setting);
  }
}

const Setting* Configuration::Find(const std::string& section, const std::string& key) const {
  const auto place = index_.find({section, key});
  return place == index_.end() ? nullptr : &settings_[place->second];
}

std::string Configuration::NameOf(const std::string& path) const {
  const auto setting = std::ranges::find(settings_, path, &Setting::path);
  if (path.empty() || setting == settings_.end()) return path;
  // What stands at a position now says nothing of the position.
  return IsBootOrder(setting->section) ? setting->section + path.substr(path.rfind('['))
                                       : setting->Name();
}

std::vector<const Setting*> Configuration::Of(const std::string& section) const {
  std::vector<const Setting*> settings;
  for (auto place = index_.lower_bound({section, ""});
       place != index_.end() && place->first.first == section; ++place) {
    settings.push_back(&settings_[place->second]);
  }
  std::ranges::sort(settings);  // they point into one vector: this is its order
  return settings;
}

bool Configuration::HasSection(const std::string& name) const {
  return sectionNames_.contains(name);
}

std::map<std::string, std::size_t> Configuration::KeysPerSection() const {
  std::map<std::string, std::size_t> counts;
  for (const std::string& section : sections_) counts[section] = 0;
  for (const Setting& setting : settings_) ++counts[setting.section];
  return counts;
}

Configuration ConfigurationOfTarget(Mode mode) {
  return CollectingSaveRestore().Collect(mode);
}

bool IsBootOrder(const std::string& section) {
  return section == "BIOS::BootOrder" || section == "BootOrder::Hard Disk";
}

bool IsBiosSection(const std::string& section) {
  return section.starts_with("BIOS::") || section.starts_with("BootOrder::");
}

Mode ModeOf(const Configuration& file) {
  const bool hasBios = std::ranges::any_of(file.Sections(), IsBiosSection);
  const bool hasBmc = std::ranges::any_of(file.Sections(), IsBmcSection);
  if (hasBios != hasBmc) return hasBios ? ModeBios : ModeBmc;
  return ModeAll;
}

void CheckFileName(const std::string& file) {
  if (file.size() <= SDK::kLongestFileName) return;
  throw Failure(Failure::Kind::Usage, "the file name is longer than " +
                                          std::to_string(SDK::kLongestFileName) +
                                          " bytes, so no restore would take it: " + file);
}

SDK::SavenRestoreOptions OptionsFor(const std::string& file, Mode mode) {
  CheckFileName(file);
  SDK::SavenRestoreOptions options = {};
  file.copy(options.fileName, sizeof options.fileName - 1);
  options.mode = mode;
  return options;
}

bool SameValue(const Setting& ofFile, const Setting& ofMachine) {
  if (IsBiosSection(ofFile.section) || ofFile.section == "SYSTEM") {
    return ofFile.value == ofMachine.value;
  }
  if (ofFile.key == SDK::Expansion::kRetryIntervalKey) {
    using SDK::Expansion::MillisecondsToRetryInterval;
    return MillisecondsToRetryInterval(ofFile.value) ==
           MillisecondsToRetryInterval(ofMachine.value);
  }
  if (SDK::Expansion::KeepsCase(ofFile.section, ofFile.key, true)) {
    return ofFile.value == ofMachine.value;
  }
  return Upper(ofFile.value) == Upper(ofMachine.value);
}

}  // namespace Planning
