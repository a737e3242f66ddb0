#pragma once

#include <chrono>
#include <string>

#include "tool/terminal/Messages.h"

namespace Tool {

/// Shows on the status line what is being read, how many queries that has taken, and the share that
/// is done where the number of queries is known beforehand. The destructor takes the line away.
class Progress {
 public:
  explicit Progress(const Messages& messages) : line_(messages.Status()) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { line_.Clear(); }

  /// A piece of work begins. `expected` is the number of its queries; 0 when that is not known.
  void Begin(const std::string& what, unsigned expected = 0);
  /// A section has begun; `name` carries its brackets.
  void Section(const std::string& name);
  /// A query is being sent.
  void Query();
  /// The work is done: nothing is shown until the next begins.
  void End();

  /// The number of queries since `Begin`.
  [[nodiscard]] unsigned Queries() const { return queries_; }

 private:
  void Draw();

  StatusLine& line_;
  std::string what_ = "connecting";
  unsigned queries_ = 0;
  unsigned expected_ = 0;
  std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace Tool
