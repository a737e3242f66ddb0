#pragma once

#include <functional>
#include <string>
#include <type_traits>

namespace LOGGER {

/// Levels of a log record; the module itself logs warnings only.
enum Level : int { Error = 1, Warning = 2, Info = 3, Debug = 4 };

/// One log record, complete and formatted.
struct LogRecord {
  int level;
  std::string file;
  std::string function;
  int line;
  std::string text;
};

/// The process-wide logger. It formats records and hands them to a sink; without a sink they are
/// dropped, because a library does not print.
class Logger {
 public:
  using Sink = std::function<void(const LogRecord&)>;

  static Logger* CreateInstance();

  /// Formats `format`, a printf format, with `arguments` and stores the text in `out`.
  /// The arguments are numbers and C strings. A template rather than a C variadic function, which
  /// cannot portably start its argument list behind a `std::string`.
  template <typename... Arguments>
  void CreateMessage(std::string& out, std::string format, Arguments... arguments) {
    static_assert((... && (std::is_arithmetic_v<Arguments> || std::is_pointer_v<Arguments>)),
                  "printf takes numbers and pointers only");
    FormatInto(out, format.c_str(), arguments...);
  }

  /// Hands one record to the sink.
  void Log(int level, std::string file, const char* function, int line, const char* format, ...)
      __attribute__((format(printf, 6, 7)));

  /// Replaces the sink and returns the one there was.
  Sink SetSink(Sink sink);

 private:
  Logger() = default;
  static void FormatInto(std::string& out, const char* format, ...);

  Sink sink_;
};

}  // namespace LOGGER
