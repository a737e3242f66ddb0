#include "providers/host/Names.h"

#include <algorithm>
#include <map>
#include <set>

namespace Host {
namespace {

constexpr unsigned kSurrogateFirst = 0xD800;
constexpr unsigned kSurrogateLast = 0xDFFF;

/// The length of the UTF-8 sequence that `text` begins with (RFC 3629, section 4); 0 when it begins
/// with none.
std::size_t SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  unsigned point = lead & (0xFFU >> (length + 1));
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xC0U) != 0x80) return 0;
    point = (point << 6U) | (byte(index) & 0x3FU);
  }
  const bool isOverlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
  const bool isSurrogate = kSurrogateFirst <= point && point <= kSurrogateLast;
  return isOverlong || isSurrogate || point > 0x10FFFF ? 0 : length;
}

bool IsControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

}  // namespace

bool IsPlainText(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0 || IsControl(text.front())) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string CleanName(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text);
    if (length == 0) {
      clean += '?';
      text.remove_prefix(1);
      continue;
    }
    if (text.front() != ' ' && !IsControl(text.front())) {
      clean += text.substr(0, length);
    } else if (!clean.empty() && clean.back() != ' ') {
      clean += ' ';
    }
    text.remove_prefix(length);
  }
  if (clean.ends_with(' ')) clean.pop_back();
  return clean;
}

std::vector<std::string> UniqueNames(const std::vector<Named>& things, Sharing sharing) {
  const auto nameOf = [](const Named& thing) {
    return thing.label.empty() ? thing.own : thing.label;
  };
  std::map<std::string, std::vector<const Named*>> users;
  for (const Named& thing : things) users[nameOf(thing)].push_back(&thing);
  std::set<const Named*> keepers;
  std::set<std::string> taken;
  for (const auto& [name, sharers] : users) {
    if (sharers.size() > 1 && sharing == Sharing::AllAreTold) continue;
    keepers.insert(*std::ranges::min_element(sharers, {}, &Named::own));
    taken.insert(name);
  }
  std::vector<std::string> names;
  for (const Named& thing : things) {
    std::string name = nameOf(thing);
    if (!keepers.contains(&thing)) {
      do {
        name += " (" + thing.own + ")";
      } while (!taken.insert(name).second);
    }
    names.push_back(std::move(name));
  }
  return names;
}

}  // namespace Host
