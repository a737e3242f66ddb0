#include "tool/terminal/StatusLine.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace Tool {
namespace {

constexpr const char* kClear = "\r\033[K";

/// What fits a line. In the last column some terminals go on to the next line.
std::size_t Room() {
  winsize size = {};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return isKnown ? size.ws_col - 1U : 79;
}

/// The first `room` characters, not bytes: one that is cut in two would be drawn as rubbish.
std::string Cut(const std::string& text, std::size_t room) {
  std::size_t characters = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if ((static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U) continue;
    if (characters++ == room) return text.substr(0, at);
  }
  return text;
}

}  // namespace

StatusLine::StatusLine(bool isWanted) : isWanted_(isWanted && isatty(STDERR_FILENO) == 1) {}

void StatusLine::Show(const std::string& text) {
  if (!isWanted_) return;
  std::fprintf(stderr, "%s%s", kClear, Cut(text, Room()).c_str());
  isShown_ = true;
}

void StatusLine::Clear() {
  if (isShown_) std::fputs(kClear, stderr);
  isShown_ = false;
}

}  // namespace Tool
