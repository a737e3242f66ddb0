#include "tool/terminal/Progress.h"

#include <algorithm>

namespace Tool {

void Progress::Begin(const std::string& what, unsigned expected) {
  what_ = what;
  queries_ = 0;
  expected_ = expected;
  lastDrawn_ = {};
  Draw();
}

void Progress::Section(const std::string& name) {
  what_ = name;
  Draw();
}

void Progress::Query() {
  ++queries_;
  Draw();
}

void Progress::End() {
  what_.clear();
  line_.Clear();
}

void Progress::Draw() {
  using namespace std::chrono_literals;
  if (what_.empty() || !line_.IsWanted()) return;
  // Not for every query: a terminal over a slow line would hold up the work.
  const auto now = std::chrono::steady_clock::now();
  if (now - lastDrawn_ < 50ms) return;
  lastDrawn_ = now;
  std::string text = Counted(queries_, "query", "queries") + "  " + Printable(what_);
  if (expected_ > 0) {
    const unsigned share = std::min(100U, 100 * queries_ / expected_);
    text = std::to_string(share) + " %, " + text;
  }
  line_.Show(text);
}

}  // namespace Tool
