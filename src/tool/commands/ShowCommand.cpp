#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "plan/FileCheck.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/commands/Commands.h"

namespace Tool {
namespace {

/// Prints what a file is: its [SYSTEM] values, its sections and how many keys each has.
int RunShow(const std::string& given, bool asJson, const Messages& messages) {
  const InputFile file(given);
  const Planning::ConfigurationFile read = Planning::WellFormed(file.Path(), file.Name());
  const Planning::Configuration& content = read.Content();
  if (asJson) {
    messages.Document(Planning::ShowDocument(content, file.Name()));
    return ExitDone;
  }
  messages.Result(file.Name() + ": " + Counted(content.Sections().size(), "section") + ", " +
                  Counted(content.Settings().size(), "key") + ", to restore with --mode " +
                  NameOf(ModeOf(content)));
  for (const Planning::Setting& setting : content.Settings()) {
    if (setting.section == "SYSTEM") messages.Result("  " + setting.key + " " + setting.value);
  }
  const auto counts = content.KeysPerSection();
  for (const std::string& section : content.Sections()) {
    messages.Result("  [" + section + "] " + std::to_string(counts.at(section)));
  }
  return ExitDone;
}

}  // namespace

void AddShow(CLI::App& command, Command& chosen) {
  struct Request {
    std::string file;
    bool json = false;
  };
  auto request = std::make_shared<Request>();
  AddFile(command, request->file, "The file");
  command.add_flag("--json", request->json, "Print JSON");
  command.footer("Example:\n  saverestore show server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals&, const Messages& messages) {
      return RunShow(request->file, request->json, messages);
    };
  });
}

}  // namespace Tool
