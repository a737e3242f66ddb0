#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TestEngine.h"

namespace Test {

namespace fs = std::filesystem;

inline const std::string kSource = SAVERESTORE_SOURCE_DIR;

inline std::string Example(const std::string& name) {
  return "machine:" + kSource + "/examples/machines/" + name + "-server.json";
}

/// What one run of the tool left behind.
struct Outcome {
  int exitCode;
  std::string out;
  std::string err;
};

class ToolTest : public EngineTest {
 protected:
  /// Runs the tool in the test's folder, with `prefix` before it in the shell command.
  [[nodiscard]] Outcome Run(const std::string& arguments, const std::string& prefix = "") const {
    const std::string command = "cd '" + PathOf("") + "' && " + prefix + " " SAVERESTORE_TOOL " " +
                                arguments + " >out.txt 2>err.txt </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(PathOf("out.txt")),
            ReadText(PathOf("err.txt"))};
  }

  /// The files in the test's folder other than the tool's output.
  [[nodiscard]] std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(PathOf(""))) {
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

}  // namespace Test
