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
    chosen = [](const Globals& globals, const Messages&) {
      Kinds& kinds = globals.targets.AllKinds();
      kinds.LoadAll();
      std::size_t width = 0;
      for (const Targets::TargetRow* row : kinds.Rows()) {
        width = std::max(width, std::strlen(row->form));
      }
      const auto print = [&](const char* kind, const std::string& text) {
        std::printf("%-*s  %s\n", static_cast<int>(width), kind, text.c_str());
      };
      for (const Targets::TargetRow* row : kinds.Rows()) print(row->form, row->summary);
      for (const Kinds::Fault& fault : kinds.Faults()) {
        print(fault.name.c_str(), "cannot be loaded: " + Printable(fault.reason));
      }
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
