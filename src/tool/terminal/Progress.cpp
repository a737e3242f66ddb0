#include "tool/terminal/Progress.h"

#include <cstdio>

#include "tool/terminal/Messages.h"

namespace Tool {

Progress::~Progress() {
  if (isDrawn_) std::fputs("\r\033[K", stderr);
}

void Progress::Section(const std::string& name) {
  section_ = name;
  Draw();
}

void Progress::Query() {
  ++queries_;
  Draw();
}

void Progress::Draw() {
  using namespace std::chrono_literals;
  if (!isShown_) return;
  // Not for every query: a terminal over a slow line would hold up the work.
  const auto now = std::chrono::steady_clock::now();
  if (isDrawn_ && now - lastDrawn_ < 50ms) return;
  lastDrawn_ = now;
  isDrawn_ = true;
  constexpr int kRoom = 56;  // keeps the line within 80 columns
  std::fprintf(stderr, "\r\033[K%.*s  %u queries", kRoom, Printable(section_).c_str(), queries_);
}

}  // namespace Tool
