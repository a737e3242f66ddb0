#pragma once

#include <string>
#include <vector>

namespace Tool {

/// How a listing is laid out for whoever reads it.
struct Style {
  bool isGrouped = false;  ///< for a person: under headings, in columns. Else a line a setting
  bool hasColour = false;
  bool showsPaths = false;
};

/// The style for what `descriptor` leads to: a terminal has columns, and colour unless NO_COLOR is
/// set.
[[nodiscard]] Style StyleFor(int descriptor, bool showsPaths);

enum class Tone { Plain, Good, Open, Bad };

/// One setting, and what is said of it.
struct ListedSetting {
  std::string section;
  std::string key;  ///< empty for a section as a whole
  std::string value;
  std::string remark;
  Tone tone = Tone::Plain;
  std::string path;
};

/// The lines of a listing, each with its end. Control characters are escaped.
[[nodiscard]] std::string Listing(const std::vector<ListedSetting>& settings, const Style& style);

/// How a value reads: "Enabled (1)" where there is a text for it, in quotes where it would not be
/// seen.
[[nodiscard]] std::string Shown(const std::string& value, const std::string& text = "");

/// "FROM → TO".
[[nodiscard]] std::string Arrow(const std::string& from, const std::string& to);

}  // namespace Tool
