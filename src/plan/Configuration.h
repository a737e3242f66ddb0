#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "modules/save/SaveRestore.h"

namespace Planning {

/// What to save or restore; the numbers are the module's.
enum Mode : int { ModeBios = 0, ModeBmc = 1, ModeAll = 2 };

/// Bytes of a value that a restore reads.
inline constexpr std::size_t kLongestRead = 127;

/// The names of the modes on the command line.
struct ModeName {
  const char* name;
  Mode mode;
};
inline constexpr ModeName kModeNames[] = {{"bios", ModeBios}, {"bmc", ModeBmc}, {"all", ModeAll}};

[[nodiscard]] const char* NameOf(Mode mode);

/// One key with its value.
struct Setting {
  std::string section;  ///< without brackets
  std::string key;
  std::string value;
  std::string comment;
  std::string path;           ///< the query path; empty for a setting of a file
  std::uint32_t line = 0;     ///< of a text file; else 0
  bool isOfWildcard = false;  ///< wanted of every instance that has such a key

  /// How people see it: "BIOS::Main::Quiet Boot".
  [[nodiscard]] std::string Name() const { return section + "::" + key; }
};

/// All settings of a file or a machine, in its order.
class Configuration {
 public:
  void AddSection(const std::string& name);
  /// Adds a setting, or replaces the one of this section and key: the last one holds.
  void Add(Setting setting);

  [[nodiscard]] const Setting* Find(const std::string& section, const std::string& key) const;
  /// The name of the setting that was read at a query path, "BIOS::BootOrder[2]" of a position; the
  /// path itself without one.
  [[nodiscard]] std::string NameOf(const std::string& path) const;
  /// The settings of a section, in order.
  [[nodiscard]] std::vector<const Setting*> Of(const std::string& section) const;
  [[nodiscard]] bool HasSection(const std::string& name) const;
  [[nodiscard]] std::map<std::string, std::size_t> KeysPerSection() const;
  [[nodiscard]] const std::vector<Setting>& Settings() const { return settings_; }
  [[nodiscard]] const std::vector<std::string>& Sections() const { return sections_; }

 private:
  std::vector<std::string> sections_;
  std::set<std::string> sectionNames_;
  std::vector<Setting> settings_;
  std::map<std::pair<std::string, std::string>, std::size_t> index_;
};

/// The settings of the mounted target, as a save of `mode` would write them.
/// \throws ResultStatus  what the save throws.
[[nodiscard]] Configuration ConfigurationOfTarget(Mode mode);

/// The mode that covers just what a file holds.
[[nodiscard]] Mode ModeOf(const Configuration& file);

/// `text` in upper case, as a restore makes it of most BMC values.
[[nodiscard]] std::string Upper(std::string text);

/// True when a restore of the value `ofFile` leaves a machine that has `ofMachine` as it is: BMC
/// values compare without case where a restore does not keep it, retry intervals in the steps that
/// the BMC has.
[[nodiscard]] bool SameValue(const Setting& ofFile, const Setting& ofMachine);

/// \throws Failure  the name of a file is longer than a restore takes.
void CheckFileName(const std::string& file);

/// The module's options for a file. \throws Failure  the file name is too long for them.
[[nodiscard]] SDK::SavenRestoreOptions OptionsFor(const std::string& file, Mode mode);

/// True for the two boot orders. Their keys are devices and their values positions, so their rows
/// say nothing of what is written to a path.
[[nodiscard]] bool IsBootOrder(const std::string& section);

/// True for the sections of the BIOS part of a file.
[[nodiscard]] bool IsBiosSection(const std::string& section);

}  // namespace Planning
