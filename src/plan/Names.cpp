#include "plan/Names.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <string_view>

#include "modules/save/Expansion.h"
#include "modules/save/SectionCatalogue.h"

namespace Planning {
namespace {

/// The numbers that stand in `path` where `query` has "[]"; nothing when it is no path of the
/// query.
std::optional<std::vector<std::string>> IndexesOf(std::string_view query, std::string_view path) {
  std::vector<std::string> indexes;
  while (!query.empty()) {
    const std::size_t slot = query.find("[]");
    if (slot == std::string_view::npos) break;
    if (!path.starts_with(query.substr(0, slot + 1))) return std::nullopt;
    path.remove_prefix(slot + 1);
    const std::size_t end = path.find(']');
    if (end == std::string_view::npos || !SDK::Expansion::IsNumber(path.substr(0, end))) {
      return std::nullopt;
    }
    indexes.emplace_back(path.substr(0, end));
    path.remove_prefix(end + 1);
    query.remove_prefix(slot + 2);
  }
  return path == query ? std::optional(indexes) : std::nullopt;
}

char Lower(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

/// How many characters have to be changed, put in or taken out to make one text of the other; case
/// is not counted.
std::size_t Distance(const std::string& left, const std::string& right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (const char character : left) {
    std::size_t diagonal = row[0]++;
    for (std::size_t to = 0; to < right.size(); ++to) {
      const std::size_t replaced = diagonal + (Lower(character) == Lower(right[to]) ? 0 : 1);
      diagonal = row[to + 1];
      row[to + 1] = std::min({replaced, row[to] + 1, row[to + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::optional<SettingName> NameOfBmcPath(const std::string& path) {
  using SDK::Expansion::Number;
  using SDK::Expansion::WithoutBrackets;
  for (const SDK::CatalogueSection& section : SDK::CatalogueTable()) {
    for (const SDK::CatalogueRow& row : section.rows) {
      if (*row.key == '\0' || row.type == SDK::QT_SUBLIST) continue;
      const auto indexes = IndexesOf(row.query, path);
      if (!indexes) continue;
      const std::string first = indexes->empty() ? "" : indexes->front();
      const std::string last = indexes->empty() ? "" : indexes->back();
      return SettingName{Number(WithoutBrackets(section.name), first), Number(row.key, last)};
    }
  }
  return std::nullopt;
}

std::string Nearest(const std::string& typed, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 256;  // the comparison takes time for each pair of characters
  if (typed.size() > kLongest) return "";
  std::size_t nearest = typed.size() / 3 + 1;  // a third of it wrong is another word
  std::string found;
  for (const std::string& name : known) {
    if (name.size() > kLongest) continue;
    const std::size_t distance = Distance(typed, name);
    if (distance >= nearest + (found.empty() ? 1 : 0)) continue;
    nearest = distance;
    found = name;
  }
  return found;
}

std::string DidYouMean(const std::string& typed, const std::vector<std::string>& known) {
  const std::string nearest = Nearest(typed, known);
  return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
}

}  // namespace Planning
