#include "tool/terminal/Password.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "common/Descriptor.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Terminal.h"

namespace Tool {
namespace {

/// Turns a terminal's echo off until the scope ends, also when a signal ends it; the line that was
/// typed unseen is then ended for whatever comes next.
class WithoutEcho {
 public:
  explicit WithoutEcho(const Terminal& terminal) : terminal_(terminal) {
    tcgetattr(terminal_.Descriptor(), &before_);
    termios quiet = before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal_.Descriptor(), TCSAFLUSH, &quiet);
  }
  WithoutEcho(const WithoutEcho&) = delete;
  WithoutEcho& operator=(const WithoutEcho&) = delete;
  ~WithoutEcho() {
    tcsetattr(terminal_.Descriptor(), TCSAFLUSH, &before_);
    terminal_.Say("\n");
  }

 private:
  const Terminal& terminal_;
  termios before_ = {};
};

[[noreturn]] void RaiseErrno(const std::string& what) {
  const int error = errno;
  throw ToolError(error == ENOENT ? ExitNoInput : ExitNotPermitted,
                  what + ": " + std::generic_category().message(error));
}

/// Reads up to the end of the line, byte by byte: nothing of what follows is taken, and no buffer
/// keeps a copy.
void ReadLine(int descriptor, std::size_t longest, const std::string& name, std::string& out) {
  out.reserve(longest + 1);
  char character = 0;
  for (;;) {
    WaitForInput(descriptor);
    const ssize_t got = read(descriptor, &character, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) RaiseErrno("the password cannot be read from " + name);
    if (got == 0 || character == '\n') break;
    if (character == '\0') {
      throw ToolError(ExitUsage, "the password from " + name + " holds a NUL byte");
    }
    if (out.size() == longest + 1 || (out.size() == longest && character != '\r')) {
      throw ToolError(ExitUsage, "the password from " + name + " is longer than " +
                                     std::to_string(longest) + " bytes");
    }
    out += character;
  }
  if (out.ends_with('\r')) out.pop_back();  // a file with the line ends of another system
}

void ReadAnew(const PasswordSource& source, std::size_t longest, std::string& out) {
  if (!source.file.empty()) {
    const Common::Descriptor file(open(source.file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) RaiseErrno("the password file \"" + source.file + "\" cannot be opened");
    ReadLine(file.Get(), longest, "\"" + source.file + "\"", out);
  } else if (source.descriptor >= 0) {
    ReadLine(source.descriptor, longest, "descriptor " + std::to_string(source.descriptor), out);
  } else if (source.ask) {
    const std::unique_ptr<Terminal> terminal = Terminal::Open();
    if (!terminal) {
      throw ToolError(ExitUsage,
                      "there is no terminal to ask for a password; give it by file or descriptor");
    }
    const WithoutEcho quiet(*terminal);  // before the prompt: nothing typed is shown or lost
    terminal->Say(source.prompt);
    ReadLine(terminal->Descriptor(), longest, "the terminal", out);
  }
}

}  // namespace

void ReadPassword(const PasswordSource& source, std::size_t longest, std::string& out) {
  if (source.kept && source.kept->text) {
    out = *source.kept->text;
    return;
  }
  ReadAnew(source, longest, out);
  if (source.kept) source.kept->text = out;
}

}  // namespace Tool
