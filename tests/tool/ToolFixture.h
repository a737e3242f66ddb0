#pragma once

#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/Paths.h"
#include "support/TestEngine.h"
#include "support/ToolRun.h"
#include "tool/ExitCodes.h"
#include "tool/commands/RestoreCommand.h"

/// The real program, run as a script or a person runs it.
namespace Test {

inline const std::string kSource = SourceFolder();

inline std::string Example(const std::string& name) {
  return "machine:" + kSource + "/examples/machines/" + name + "-server.json";
}

using Outcome = ToolOutcome;

class ToolTest : public EngineTest {
 protected:
  /// Runs the tool in the test's folder, with `prefix` before it in the shell command.
  [[nodiscard]] Outcome Run(const std::string& arguments, const std::string& prefix = "") const {
    return Shell(prefix + " " + ToolProgram() + " " + arguments);
  }

  /// Runs a shell command in the test's folder.
  [[nodiscard]] Outcome Shell(const std::string& command) const {
    return RunShell(PathOf(""), command);
  }

  /// The files in the test's folder other than the tool's output.
  [[nodiscard]] std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf(""))) {
      const std::string name = entry.path().filename().string();
      if (name != "out.txt" && name != "err.txt") names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
  }

  static unsigned ModeBits(const std::string& path) {
    struct stat facts = {};
    EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777U;
  }
};

/// Runs `program` in a process on a terminal, types a text when it is asked, and returns what the
/// terminal shows. `meanwhile` happens while it waits.
inline std::string OnTerminal(const std::function<void()>& program, const std::string& typed = "",
                              int exitCode = 0, const std::function<void()>& meanwhile = {}) {
  int terminal = -1;
  winsize size = {24, 80, 0, 0};
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    program();
    _exit(127);
  }
  std::string shown;
  bool isTyped = typed.empty();
  std::array<char, 4096> part = {};
  for (ssize_t got = 0; (got = read(terminal, part.data(), part.size())) > 0;) {
    shown.append(part.data(), static_cast<std::size_t>(got));
    if (isTyped || !(shown.ends_with(": ") || shown.ends_with("] "))) continue;
    if (meanwhile) meanwhile();
    EXPECT_EQ(write(terminal, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    isTyped = true;
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), exitCode) << shown;
  close(terminal);
  return shown;
}

/// Runs the tool on a terminal; `redirection` leads its standard streams elsewhere.
inline std::string TerminalOutput(const std::vector<std::string>& arguments,
                                  const std::string& typed = "", int exitCode = 0,
                                  const std::string& redirection = "",
                                  const std::function<void()>& meanwhile = {}) {
  const auto program = [&] {
    // A terminal that nothing has open is gone.
    std::string command = redirection.empty() ? "exec" : "exec 9<>/dev/tty; exec";
    for (const std::string& argument : arguments) command += " '" + argument + "'";
    execl("/bin/sh", "sh", "-c", (command + redirection).c_str(), nullptr);
  };
  return OnTerminal(program, typed, exitCode, meanwhile);
}

/// Ends the process as the tool does.
[[noreturn]] inline void RestoreAndExit(const Tool::RestoreRequest& request) {
  try {
    _exit(RunRestore(request, Tool::Messages(Tool::Verbosity::Quiet)));
  } catch (const Tool::ToolError& fault) {
    std::fputs(fault.what(), stderr);
    _exit(fault.code);
  }
}

/// As a script does, which has no terminal.
[[noreturn]] inline void RestoreAsAScript(const Tool::RestoreRequest& request) {
  setsid();
  RestoreAndExit(request);
}

}  // namespace Test
