#include "common/LocalTime.h"

#include <array>

namespace Common {

std::string LocalTime(std::time_t time, const char* format) {
  std::array<char, 64> text = {};
  std::tm parts = {};
  localtime_r(&time, &parts);
  std::strftime(text.data(), text.size(), format, &parts);
  return text.data();
}

}  // namespace Common
