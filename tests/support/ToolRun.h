#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/TestEngine.h"

namespace Test {

/// What one run of the tool left behind.
struct ToolOutcome {
  int exitCode;
  std::string out;
  std::string err;
};

/// Runs a shell command in `folder`.
inline ToolOutcome RunShell(const std::string& folder, const std::string& command) {
  const std::string line = "cd '" + folder + "' && " + command + " >out.txt 2>err.txt </dev/null";
  const int status = std::system(line.c_str());  // NOLINT(cert-env33-c): the test's own words
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(folder + "/out.txt"),
          ReadText(folder + "/err.txt")};
}

/// Runs the program `tool` in `folder`.
inline ToolOutcome RunTool(const std::string& tool, const std::string& folder,
                           const std::string& arguments) {
  return RunShell(folder, tool + " " + arguments);
}

}  // namespace Test
