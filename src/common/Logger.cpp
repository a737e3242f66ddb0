#include "common/Logger.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace LOGGER {
namespace {

// NOLINTBEGIN(cert-dcl50-cpp): printf formatting is this class's contract
std::string Format(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text;
  if (length > 0) {
    text.resize(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(text.data(), text.size(), format, again);
    text.pop_back();  // vsnprintf's terminator
  }
  va_end(again);
  return text;
}

}  // namespace

Logger* Logger::CreateInstance() {
  static Logger instance;
  return &instance;
}

void Logger::FormatInto(std::string& out, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  out = Format(format, arguments);
  va_end(arguments);
}

void Logger::Log(int level, std::string file, const char* function, int line, const char* format,
                 ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = Format(format, arguments);
  va_end(arguments);
  if (sink_) sink_({level, std::move(file), function, line, std::move(text)});
}
// NOLINTEND(cert-dcl50-cpp)

Logger::Sink Logger::SetSink(Sink sink) {
  return std::exchange(sink_, std::move(sink));
}

}  // namespace LOGGER
