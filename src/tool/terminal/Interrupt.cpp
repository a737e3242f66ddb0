#include "tool/terminal/Interrupt.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <vector>

#include "tool/ExitCodes.h"

namespace Tool {
namespace {

constexpr auto kSignals = std::to_array({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
constexpr unsigned kSecondsToGiveUp = 1;

// A signal handler can reach nothing but a global.
volatile std::sig_atomic_t interrupts = 0;

extern "C" void KeepInterrupt(int /*signal*/) {
  if (interrupts < 2) interrupts = interrupts + 1;
  if (interrupts == 2) alarm(kSecondsToGiveUp);
}

extern "C" void EndNow(int /*signal*/) {
  _exit(ExitFailed);
}

void Handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigaction(signal, &action, nullptr);
}

/// Keeps the signals back until the scope ends.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kSignals) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  [[nodiscard]] const sigset_t& Before() const { return before_; }

 private:
  sigset_t before_ = {};
};

}  // namespace

void CatchInterrupts() {
  for (const int signal : kSignals) Handle(signal, KeepInterrupt);
  Handle(SIGALRM, EndNow);
}

bool IsInterrupted() {
  return interrupts != 0;
}

void ThrowIfInterrupted() {
  if (IsInterrupted()) throw Interrupted();
}

bool IsHurried() {
  return interrupts >= 2;
}

void WaitForInput(int descriptor) {
  static_cast<void>(WaitForInput(std::span(&descriptor, 1)));
}

int WaitForInput(std::span<const int> descriptors) {
  const SignalsHeld held;
  std::vector<pollfd> wanted;
  for (const int descriptor : descriptors) wanted.push_back({descriptor, POLLIN, 0});
  for (;;) {
    ThrowIfInterrupted();
    if (ppoll(wanted.data(), wanted.size(), nullptr, &held.Before()) <= 0) continue;
    for (const pollfd& one : wanted) {
      if (one.revents != 0) return one.fd;
    }
  }
}

}  // namespace Tool
