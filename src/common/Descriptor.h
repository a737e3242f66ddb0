#pragma once

#include <unistd.h>

namespace Common {

/// Owns a file descriptor; a negative one is none.
class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (value_ >= 0) close(value_);
  }

  [[nodiscard]] int Get() const { return value_; }
  [[nodiscard]] bool IsOpen() const { return value_ >= 0; }

 private:
  int value_;
};

}  // namespace Common
