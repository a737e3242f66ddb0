#include "tool/render/Listing.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <string_view>

#include "tool/terminal/Messages.h"

namespace Tool {
namespace {

constexpr const char* kGap = "  ";
constexpr std::size_t kWidestColumn = 40;  // a longer text moves the rest of its own line only

/// Characters, not bytes.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

std::string Padded(std::string text, std::size_t width) {
  text.append(width - std::min(width, Width(text)), ' ');
  return text;
}

const char* ColourOf(Tone tone) {
  switch (tone) {
    case Tone::Good:
      return "\033[32m";
    case Tone::Open:
      return "\033[33m";
    case Tone::Bad:
      return "\033[31m";
    case Tone::Plain:
      break;
  }
  return "";
}

std::string Coloured(const std::string& text, const char* colour, const Style& style) {
  return style.hasColour && *colour != '\0' ? colour + text + "\033[0m" : text;
}

/// What stands behind the name of a setting.
std::string Rest(const ListedSetting& setting, std::size_t valueWidth, const Style& style) {
  const char* colour = ColourOf(setting.tone);
  const std::string value = Printable(setting.value);
  std::string text;
  if (setting.remark.empty()) {
    text = Coloured(value, colour, style);
  } else {
    if (!value.empty()) text = Padded(value, valueWidth) + kGap;
    text += Coloured(Printable(setting.remark), colour, style);
  }
  if (style.showsPaths && !setting.path.empty()) text += kGap + Printable(setting.path);
  return text;
}

std::string Line(const ListedSetting& setting) {
  const std::string name =
      setting.key.empty() ? "[" + setting.section + "]" : setting.section + "::" + setting.key;
  return Printable(name) + kGap;
}

/// The widest text of a column.
template <typename Text>
std::size_t ColumnWidth(const std::vector<ListedSetting>& settings, Text text) {
  std::size_t width = 0;
  for (const ListedSetting& setting : settings) {
    width = std::max(width, Width(Printable(text(setting))));
  }
  return std::min(width, kWidestColumn);
}

std::string Grouped(const std::vector<ListedSetting>& settings, const Style& style) {
  const std::size_t keyWidth =
      ColumnWidth(settings, [](const ListedSetting& setting) { return setting.key; });
  const std::size_t valueWidth = ColumnWidth(settings, [](const ListedSetting& setting) {
    return setting.remark.empty() ? "" : setting.value;
  });
  std::vector<std::string> order;
  std::map<std::string, std::string> lines;
  for (const ListedSetting& setting : settings) {
    const auto [group, isNew] = lines.try_emplace(setting.section);
    if (isNew) order.push_back(setting.section);
    group->second += kGap;
    if (!setting.key.empty()) group->second += Padded(Printable(setting.key), keyWidth) + kGap;
    group->second += Rest(setting, valueWidth, style) + "\n";
  }
  std::string text;
  for (const std::string& section : order) {
    text += Coloured(Printable(section), "\033[1m", style) + "\n" + lines[section];
  }
  return text;
}

}  // namespace

Style StyleFor(int descriptor, bool showsPaths) {
  const char* noColour = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  const bool isPlain = (noColour != nullptr && *noColour != '\0') || terminal == nullptr ||
                       *terminal == '\0' || std::string_view(terminal) == "dumb";
  const bool isTerminal = isatty(descriptor) == 1;
  return {isTerminal, isTerminal && !isPlain, showsPaths};
}

std::string Listing(const std::vector<ListedSetting>& settings, const Style& style) {
  if (style.isGrouped) return Grouped(settings, style);
  std::string text;
  for (const ListedSetting& setting : settings) {
    text += Line(setting) + Rest(setting, 0, style) + "\n";
  }
  return text;
}

std::string Shown(const std::string& value, const std::string& text) {
  const bool saysMore =
      !std::ranges::equal(text, value, [](unsigned char one, unsigned char other) {
        return std::tolower(one) == std::tolower(other);
      });
  if (!text.empty() && saysMore) return text + " (" + value + ")";
  const bool isUnseen = value.empty() || value.front() == ' ' || value.back() == ' ';
  return isUnseen ? "\"" + value + "\"" : value;
}

std::string Arrow(const std::string& from, const std::string& to) {
  return from + " → " + to;
}

}  // namespace Tool
