#include "tool/commands/SaveCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "common/AtomicFile.h"
#include "plan/Backup.h"
#include "plan/Document.h"
#include "query/XDirector.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/terminal/Interrupt.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

/// What a save has come to.
struct Outcome {
  Planning::Mode mode;
  unsigned queries;
  std::string platform;
};

/// A save holds the present values, and a restart may change them.
void WarnOfWaiting(const Planning::Server& server, const Messages& messages) {
  std::vector<SDK::BootMessage> waiting = server.BootMessages();
  std::erase_if(waiting, [](const SDK::BootMessage& message) { return !message.isWaiting; });
  if (waiting.empty()) return;
  const Planning::Configuration present = Planning::ConfigurationOfTarget(Planning::ModeBios);
  for (const SDK::BootMessage& message : waiting) {
    messages.Warning(present.NameOf(message.path) + ": " + message.text);
  }
}

/// Saves the target into `file`. \throws as RunSave.
Outcome SaveTo(Common::AtomicFile& file, const SaveRequest& request, const Messages& messages) {
  Progress progress(messages);
  const Planning::Server server(request.openTarget(), Watching(messages, &progress));
  const Planning::Mode mode = request.mode.value_or(ModeOf(server.Providers()));
  CheckMode(server.Providers(), mode);
  Planning::SaveInto(file, mode, server, [&](const std::string& name) { progress.Section(name); });
  const unsigned queries = server.Queries();
  if (mode != Planning::ModeBmc) WarnOfWaiting(server, messages);
  return {mode, queries, SDK::XDirectorImpl::CreateInstance()->PlatformName()};
}

}  // namespace

void RunSave(const SaveRequest& request, const Messages& messages) {
  CheckDestination(request.file, request.overwrite);
  Common::AtomicFile file(request.file);
  const Outcome outcome = SaveTo(file, request, messages);
  Planning::Saved saved = Planning::ReviewSaved(file.TemporaryPath(), outcome.mode);
  for (const std::string& text : saved.warnings) messages.Warning(text);
  ThrowIfInterrupted();
  file.Commit(request.overwrite ? Common::AtomicFile::Existing::Replace
                                : Common::AtomicFile::Existing::Keep);
  if (request.json) {
    saved.file = request.file;
    messages.Document(Planning::SaveDocument(saved, outcome.mode, outcome.platform));
    return;
  }
  messages.Result("Saved " + request.file + ": " + Counted(saved.sections, "section") + ", " +
                  Counted(saved.keys, "key") + ", " + std::to_string(outcome.queries) +
                  " queries.");
}

void AddSave(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<SaveRequest>();
  AddFile(command, request->file,
          "The file to write; its name ends in .ini, or in .scf for a stream file");
  AddMode(command, request->mode,
          "What to save: bios (with the boot order), bmc, or all; default: what the target has");
  command.add_flag("--overwrite", request->overwrite, "Replace FILE when it exists");
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "The file is written whole or not at all, readable by its owner alone.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json save --mode bios server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      RunSave(*request, messages);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
