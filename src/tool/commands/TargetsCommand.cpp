#include <CLI/CLI.hpp>
#include <cstdio>

#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"

namespace Tool {

void AddTargets(CLI::App& command, Command& chosen) {
  command.footer("Example:\n  saverestore targets\n");
  command.callback([&chosen] {
    chosen = [](const Globals&, const Messages&) {
      for (const TargetRow& row : TargetRows()) std::printf("%-20s %s\n", row.form, row.summary);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
