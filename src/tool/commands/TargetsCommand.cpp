#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"

namespace Tool {

void AddTargets(CLI::App& command, Command& chosen) {
  command.footer("Example:\n  saverestore targets\n");
  command.callback([&chosen] {
    chosen = [](const Globals&, const Messages&) {
      std::size_t width = 0;
      for (const TargetRow& row : TargetRows()) width = std::max(width, std::strlen(row.form));
      for (const TargetRow& row : TargetRows()) {
        std::printf("%-*s  %s\n", static_cast<int>(width), row.form, row.summary);
      }
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
