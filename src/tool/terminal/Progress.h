#pragma once

#include <chrono>
#include <string>

namespace Tool {

/// One line on standard error that shows the section being read and the number of queries so far.
/// The destructor takes it away again.
class Progress {
 public:
  explicit Progress(bool isShown) : isShown_(isShown) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  /// A section has begun; `name` carries its brackets.
  void Section(const std::string& name);
  /// A query is being sent.
  void Query();

  [[nodiscard]] unsigned Queries() const { return queries_; }

 private:
  void Draw();

  bool isShown_;
  bool isDrawn_ = false;
  std::string section_ = "connecting";
  unsigned queries_ = 0;
  std::chrono::steady_clock::time_point lastDrawn_;
};

}  // namespace Tool
