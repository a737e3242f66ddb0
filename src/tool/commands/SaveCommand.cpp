#include "tool/commands/SaveCommand.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "plan/Backup.h"
#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "plan/Layers.h"
#include "query/XDirector.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/OutputFile.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"
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

/// Leaves in a saved text file what the selection covers. \return that.
Planning::Configuration KeepSelected(const std::string& path,
                                     const Planning::Selection& selection) {
  const Planning::ConfigurationFile whole(path);
  selection.ThrowIfIdle(whole.Content());
  Planning::Configuration part = selection.Of(whole.Content());
  Planning::WriteTextFile(path, part);
  return part;
}

}  // namespace

void RunSave(const SaveRequest& request, const Messages& messages) {
  const bool isPart = !request.selection.IsAll();
  if (isPart) CheckHoldsPart(request.file);
  if (request.json && request.file == kStandardStream) {
    throw ToolError(ExitUsage, "standard output has room for the file or for the document");
  }
  OutputFile output(request.file, request.overwrite);
  const std::string& path = output.File().TemporaryPath();
  const Outcome outcome = SaveTo(output.File(), request, messages);
  Planning::Saved saved = Planning::ReviewSaved(path, outcome.mode);
  for (const std::string& text : saved.warnings) messages.Warning(text);
  if (isPart) {
    const Planning::Configuration part = KeepSelected(path, request.selection);
    saved.sections = part.Sections().size();
    saved.keys = part.Settings().size();
  }
  ThrowIfInterrupted();
  output.Commit();
  if (request.json) {
    saved.file = request.file;
    messages.Document(Planning::SaveDocument(saved, outcome.mode, outcome.platform));
    return;
  }
  output.Tell("Saved " + std::string(isPart ? "a part into " : "") + output.Name() + ": " +
                  Counted(saved.sections, "section") + ", " + Counted(saved.keys, "key") + ", " +
                  std::to_string(outcome.queries) + " queries.",
              messages);
}

void AddSave(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<SaveRequest>();
  AddFile(command, request->file,
          "The file to write; its name ends in .ini, or in .scf for a stream file;\n"
          "- writes a text file to standard output");
  AddMode(command, request->mode,
          "What to save: bios (with the boot order), bmc, or all; default: what the target has");
  AddSelection(command, request->selection);
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
