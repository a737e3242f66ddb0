#include "tool/terminal/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include "tool/ExitCodes.h"
#include "tool/terminal/Messages.h"

namespace Tool {

void SecureStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one that is closed: those below it are open by now.
    if (open("/dev/null", O_RDWR) != descriptor) std::abort();  // NOLINT: stays open on purpose
  }
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
}

void RaiseUnwritten(int error) {
  std::clearerr(stdout);  // it is told here, and not a second time at the end
  throw ToolError(ExitFailed, "standard output could not be written: " +
                                  std::generic_category().message(error));
}

int FinishStandardOutput(int exitCode) {
  try {
    errno = 0;
    const bool hasFailed = std::ferror(stdout) != 0;  // by a print that nobody has looked at
    if (std::fflush(stdout) != 0 || hasFailed) RaiseUnwritten(errno == 0 ? EIO : errno);
    return exitCode;
  } catch (const ToolError& fault) {
    Messages(Verbosity::Quiet).Error(fault.what());
    return ExitFailed;
  }
}

}  // namespace Tool
