#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Planning {

/// How the file calls a setting; `section` without brackets.
struct SettingName {
  std::string section;
  std::string key;

  /// How people see it: "BIOS::Main::Quiet Boot".
  [[nodiscard]] std::string Text() const { return section + "::" + key; }
};

/// The name of the BMC setting at a query path, by the catalogue alone: also of one that a save
/// leaves out at present. Nothing for a path that no key has.
[[nodiscard]] std::optional<SettingName> NameOfBmcPath(const std::string& path);

/// The one of `known` that `typed` was probably meant to be; empty when none is near.
[[nodiscard]] std::string Nearest(const std::string& typed, const std::vector<std::string>& known);

/// The end of a sentence: `; did you mean "…"?`, or nothing when no known name is near.
[[nodiscard]] std::string DidYouMean(const std::string& typed,
                                     const std::vector<std::string>& known);

}  // namespace Planning
