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

/// Runs the program `tool` in `folder`.
inline ToolOutcome RunTool(const std::string& tool, const std::string& folder,
                           const std::string& arguments) {
  const std::string command =
      "cd '" + folder + "' && " + tool + " " + arguments + " >out.txt 2>err.txt </dev/null";
  const int status = std::system(command.c_str());  // NOLINT(cert-env33-c): as a script calls it
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(folder + "/out.txt"),
          ReadText(folder + "/err.txt")};
}

}  // namespace Test
