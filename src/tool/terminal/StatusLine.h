#pragma once

#include <string>

namespace Tool {

/// The last line of a terminal while work is under way: drawn over itself, cut to the terminal's
/// width, and taken away before anything else is printed. On anything but a terminal it is never
/// there.
class StatusLine {
 public:
  explicit StatusLine(bool isWanted);
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  ~StatusLine() { Clear(); }

  /// True when `Show` shows something.
  [[nodiscard]] bool IsWanted() const { return isWanted_; }
  /// `text` holds no control characters.
  void Show(const std::string& text);
  void Clear();

 private:
  bool isWanted_;
  bool isShown_ = false;
};

}  // namespace Tool
