#include "tool/terminal/Pager.h"

#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace Tool {
namespace {

constexpr int kNoSuchProgram = 127;  // what a shell ends with

/// An interrupt that is typed at a pager is the pager's own.
class InterruptsIgnored {
 public:
  InterruptsIgnored() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &interrupt_);
    sigaction(SIGQUIT, &ignore, &quit_);
  }
  InterruptsIgnored(const InterruptsIgnored&) = delete;
  InterruptsIgnored& operator=(const InterruptsIgnored&) = delete;
  ~InterruptsIgnored() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGQUIT, &quit_, nullptr);
  }

 private:
  struct sigaction interrupt_ = {};
  struct sigaction quit_ = {};
};

/// One line is left for the shell's prompt, or for a question.
bool FitsTerminal(const std::string& text) {
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return true;
  return std::ranges::count(text, '\n') < size.ws_row;
}

const char* PagerCommand() {
  const char* chosen = std::getenv("PAGER");
  if (chosen != nullptr && *chosen != '\0') return chosen;
  setenv("LESS", "FRX", 0);  // keeps colours, and leaves what was shown on the screen
  return "less";
}

}  // namespace

bool ShowThroughPager(const std::string& text) {
  if (isatty(STDOUT_FILENO) != 1 || FitsTerminal(text)) return false;
  std::fflush(stdout);
  const InterruptsIgnored ignored;
  FILE* pager = popen(PagerCommand(), "w");  // NOLINT(cert-env33-c): the user's own words
  if (pager == nullptr) return false;
  std::fputs(text.c_str(), pager);  // a pager that is left early wants no more
  const int status = pclose(pager);
  return !WIFEXITED(status) || WEXITSTATUS(status) != kNoSuchProgram;
}

}  // namespace Tool
