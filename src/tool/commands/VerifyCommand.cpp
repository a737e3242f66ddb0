#include "tool/commands/VerifyCommand.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "tool/ExitCodes.h"

namespace Tool {
namespace {

using nlohmann::ordered_json;

/// A setting of the file that the machine does not have, or has with another value.
struct Missed {
  const Setting* wanted;
  const Setting* present;  ///< null: the machine has no such setting
};

struct Findings {
  std::size_t compared = 0;
  std::vector<Missed> missed;
  std::vector<SDK::BootMessage> messages;
};

/// The part of the file that a restore in `mode` writes: not [SYSTEM], which is not written.
bool IsWritten(const Setting& setting, Mode mode) {
  if (setting.section == "SYSTEM") return false;
  if (IsBiosSection(setting.section)) {
    // An empty value of the BIOS is not restored.
    return mode != ModeBmc && !setting.value.empty();
  }
  return mode != ModeBios;
}

Findings CompareWithTarget(const Configuration& file, const Configuration& machine, Mode mode) {
  Findings findings;
  for (const Setting& wanted : file.Settings()) {
    if (!IsWritten(wanted, mode)) continue;
    ++findings.compared;
    const Setting* present = machine.Find(wanted.section, wanted.key);
    if (present == nullptr || !SameValue(wanted, *present)) {
      findings.missed.push_back({&wanted, present});
    }
  }
  return findings;
}

void PrintJson(const Findings& findings, const VerifyRequest& request, Mode mode,
               const Configuration& machine, const Messages& messages) {
  ordered_json different = ordered_json::array();
  for (const auto& [wanted, present] : findings.missed) {
    different.push_back(
        {{"section", wanted->section},
         {"key", wanted->key},
         {"file", wanted->value},
         {"machine", present == nullptr ? ordered_json() : ordered_json(present->value)}});
  }
  ordered_json said = ordered_json::array();
  for (const SDK::BootMessage& message : findings.messages) {
    said.push_back({{"setting", machine.NameOf(message.path)},
                    {"time", message.time},
                    {"fault", message.isFault},
                    {"text", message.text}});
  }
  const ordered_json document = {
      {"schema", "saverestore-verify/1"}, {"file", request.file},   {"mode", NameOf(mode)},
      {"compared", findings.compared},    {"different", different}, {"messages", said}};
  messages.Document(document.dump(2, ' ', false, ordered_json::error_handler_t::replace));
}

void PrintText(const Findings& findings, const Configuration& machine, const Messages& messages) {
  for (const auto& [wanted, present] : findings.missed) {
    messages.Result(wanted->Name() + ": file \"" + wanted->value + "\", " +
                    (present == nullptr ? "the machine has no such setting"
                                        : "machine \"" + present->value + "\""));
  }
  for (const SDK::BootMessage& message : findings.messages) {
    const std::string name = machine.NameOf(message.path);
    messages.Result("The server says" + (message.time.empty() ? "" : " (" + message.time + ")") +
                    ": " + (name.empty() ? "" : name + ": ") + message.text);
  }
  messages.Result(std::to_string(findings.compared - findings.missed.size()) + " of " +
                  Counted(findings.compared, "setting") + " as in the file.");
}

}  // namespace

int RunVerify(const VerifyRequest& request, const Messages& messages) {
  const ConfigurationFile file(request.file);
  const Mode mode = request.mode.value_or(ModeOf(file.Content()));
  const WatchedTarget target(request.openTarget, messages);
  const Configuration machine = ConfigurationOfTarget(mode);
  target.ThrowIfSilent();
  Findings findings = CompareWithTarget(file.Content(), machine, mode);
  if (mode != ModeBmc) {
    if (const auto bios = target.Providers().find("BIOS"); bios != target.Providers().end()) {
      findings.messages = bios->second.provider->BootMessages();
    }
  }
  if (request.json) {
    PrintJson(findings, request, mode, machine, messages);
  } else {
    PrintText(findings, machine, messages);
  }
  return findings.missed.empty() ? ExitDone : ExitDifferent;
}

}  // namespace Tool
