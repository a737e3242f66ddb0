// Small text and list operations; they hold no state.
#include <algorithm>
#include <cctype>

#include "modules/save/SaveRestore.h"

namespace SDK {

std::string SaveRestore::convertIntToString(int number) {
  return std::to_string(number);
}

std::string SaveRestore::StringToUpper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char character) {
    return static_cast<char>(std::toupper(character));
  });
  return text;
}

int SaveRestore::GetStringPlaceInList(const std::vector<std::string>& list, std::string text) {
  const auto entry = std::ranges::find(list, text);
  return entry == list.end() ? -1 : static_cast<int>(entry - list.begin());
}

std::vector<std::string> SaveRestore::FindIntFromString(std::vector<std::string> list) {
  std::vector<std::string> indexes;
  indexes.reserve(list.size());
  bool bracketSeen =
      false;  // over the whole list: "ERROR" marks entries before the first index only
  for (const std::string& entry : list) {
    const std::size_t open = entry.rfind('[');
    if (open != std::string::npos) {
      // Without a "]" behind the "[" the difference wraps to a huge length: the rest of the entry.
      indexes.push_back(entry.substr(open + 1, entry.rfind(']') - (open + 1)));
      bracketSeen = true;
    } else {
      indexes.emplace_back(bracketSeen ? "" : "ERROR");
    }
  }
  return indexes;
}

}  // namespace SDK
