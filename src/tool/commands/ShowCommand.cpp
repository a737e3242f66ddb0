#include "tool/commands/ShowCommand.h"

#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "tool/ExitCodes.h"

namespace Tool {

int RunShow(const std::string& file, bool json, const Messages& messages) {
  const Planning::ConfigurationFile read(file);
  const Planning::Configuration& content = read.Content();
  if (json) {
    messages.Document(Planning::ShowDocument(content, file));
    return ExitDone;
  }
  messages.Result(file + ": " + Counted(content.Sections().size(), "section") + ", " +
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

}  // namespace Tool
