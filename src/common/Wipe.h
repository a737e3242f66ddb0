#pragma once

#include <cstring>
#include <map>
#include <string>

namespace Common {

/// Overwrites every byte that `text` owns and empties it. `explicit_bzero` is the call that a
/// compiler may not drop; emptying a string alone leaves its characters in memory.
inline void Wipe(std::string& text) noexcept {
  text.resize(text.capacity());  // within the capacity: no reallocation, no throw
  explicit_bzero(text.data(), text.size());
  text.clear();
}

/// Wipes every value of a map of texts, or of a map of such maps.
template <typename Value>
void Wipe(std::map<std::string, Value>& values) noexcept {
  for (auto& [key, value] : values) Wipe(value);
}

/// Wipes a text, or the values of a map, when the scope ends, also by an exception.
template <typename Secret>
class WipeOnExit {
 public:
  explicit WipeOnExit(Secret& secret) : secret_(secret) {}
  WipeOnExit(const WipeOnExit&) = delete;
  WipeOnExit& operator=(const WipeOnExit&) = delete;
  ~WipeOnExit() { Wipe(secret_); }

 private:
  Secret& secret_;
};

}  // namespace Common
