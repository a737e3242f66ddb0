#pragma once

#include <cstring>
#include <string>

namespace Common {

/// Overwrites every byte that `text` owns and empties it. `explicit_bzero` is the call that a
/// compiler may not drop; emptying a string alone leaves its characters in memory.
inline void Wipe(std::string& text) noexcept {
  text.resize(text.capacity());  // within the capacity: no reallocation, no throw
  explicit_bzero(text.data(), text.size());
  text.clear();
}

/// Wipes a text when the scope ends, also by an exception.
class WipeOnExit {
 public:
  explicit WipeOnExit(std::string& text) : text_(text) {}
  WipeOnExit(const WipeOnExit&) = delete;
  WipeOnExit& operator=(const WipeOnExit&) = delete;
  ~WipeOnExit() { Wipe(text_); }

 private:
  std::string& text_;
};

}  // namespace Common
