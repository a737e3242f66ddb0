#include "tool/commands/ShowCommand.h"

#include <map>
#include <nlohmann/json.hpp>

#include "plan/Configuration.h"
#include "plan/ConfigurationFile.h"
#include "tool/ExitCodes.h"

namespace Tool {

using nlohmann::ordered_json;

int RunShow(const std::string& file, bool json, const Messages& messages) {
  const ConfigurationFile read(file);
  const Configuration& configuration = read.Content();
  ordered_json system = ordered_json::object();
  std::map<std::string, std::size_t> counts;
  for (const Setting& setting : configuration.Settings()) {
    ++counts[setting.section];
    if (setting.section == "SYSTEM") system[setting.key] = setting.value;
  }
  if (json) {
    ordered_json sections = ordered_json::array();
    for (const std::string& section : configuration.Sections()) {
      sections.push_back({{"section", section}, {"keys", counts[section]}});
    }
    const ordered_json shown = {{"schema", "saverestore-show/1"},
                                {"file", file},
                                {"mode", NameOf(ModeOf(configuration))},
                                {"system", system},
                                {"sections", sections}};
    messages.Document(shown.dump(2, ' ', false, ordered_json::error_handler_t::replace));
    return ExitDone;
  }
  messages.Result(file + ": " + Counted(configuration.Sections().size(), "section") + ", " +
                  Counted(configuration.Settings().size(), "key") + ", to restore with --mode " +
                  NameOf(ModeOf(configuration)));
  for (const auto& [key, value] : system.items()) {
    messages.Result("  " + key + " " + value.get<std::string>());
  }
  for (const std::string& section : configuration.Sections()) {
    messages.Result("  [" + section + "] " + std::to_string(counts[section]));
  }
  return ExitDone;
}

}  // namespace Tool
