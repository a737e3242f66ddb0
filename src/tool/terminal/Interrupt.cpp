#include "tool/terminal/Interrupt.h"

#include <array>
#include <csignal>

namespace Tool {
namespace {

// A signal handler can reach nothing but a global.
volatile std::sig_atomic_t interrupted = 0;

extern "C" void KeepInterrupt(int /*signal*/) {
  interrupted = 1;
}

}  // namespace

void CatchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = KeepInterrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : std::to_array({SIGINT, SIGTERM, SIGHUP})) {
    sigaction(signal, &action, nullptr);
  }
}

void ThrowIfInterrupted() {
  if (interrupted != 0) throw Interrupted();
}

}  // namespace Tool
