#pragma once

#include <map>
#include <string>

#include "ini/IniDocument.h"
#include "modules/save/FileValue.h"

namespace SDK {

/// A saved configuration as a restore looks keys up in it, whatever the form of its file. It is
/// read once: what happens to the file later does not show. Sections are named without brackets.
class SavedConfiguration {
 public:
  SavedConfiguration() = default;
  SavedConfiguration(const SavedConfiguration&) = delete;
  SavedConfiguration& operator=(const SavedConfiguration&) = delete;
  virtual ~SavedConfiguration() = default;

  /// False when there is no content to look anything up in.
  [[nodiscard]] virtual bool IsReadable() const = 0;

  /// What GetRequiredProfileMap answers for every section of the file: INI_MALFORMED also when
  /// only some lines are none.
  [[nodiscard]] virtual int MapStatus() const = 0;

  /// The value of a key, with the status that GetRequiredProfileString has for it.
  [[nodiscard]] virtual FileValue Find(const std::string& section,
                                       const std::string& key) const = 0;

  /// Every key of a section with its value; none when there is no such section.
  [[nodiscard]] virtual std::map<std::string, std::string> Entries(
      const std::string& section) const = 0;
};

/// The INI form.
class IniConfiguration final : public SavedConfiguration {
 public:
  /// Reads the file at `path`; one that cannot be read shows in `IsReadable`.
  explicit IniConfiguration(const char* path) { document_.Load(path); }

  [[nodiscard]] bool IsReadable() const override;
  [[nodiscard]] int MapStatus() const override;
  [[nodiscard]] FileValue Find(const std::string& section, const std::string& key) const override;
  [[nodiscard]] std::map<std::string, std::string> Entries(
      const std::string& section) const override;

 private:
  IniDocument document_;
};

}  // namespace SDK
