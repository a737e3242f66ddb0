#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "ini/IniDocument.h"
#include "modules/save/FileValue.h"

namespace SDK {

/// Where a configuration has a value.
struct KeyName {
  std::string section;  ///< without brackets
  std::string key;
  bool operator==(const KeyName&) const = default;
};

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

  /// Where the BIOS part has the attribute `name` of a server: the key whose comment says so, else,
  /// where `mayBeKey`, the key of that name whose comment says nothing. Null when there is none, or
  /// more than one.
  [[nodiscard]] const KeyName* FindAttribute(const std::string& name, bool mayBeKey) const;

 protected:
  using KeyVisitor =
      std::function<void(std::string_view section, std::string_view key, std::string_view comment)>;
  /// Hands out every key.
  virtual void ForEachKey(const KeyVisitor& visit) const = 0;

 private:
  /// One without a key stands for several.
  using Attributes = std::map<std::string, KeyName, std::less<>>;
  struct AttributeNames {
    Attributes byComment;
    Attributes byKey;
  };
  /// Made when the first key is not found by its own name: mostly never.
  mutable std::optional<AttributeNames> attributes_;
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

 protected:
  void ForEachKey(const KeyVisitor& visit) const override;

 private:
  IniDocument document_;
};

}  // namespace SDK
