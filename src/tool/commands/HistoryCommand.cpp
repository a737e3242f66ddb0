#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Document.h"
#include "plan/History.h"
#include "plan/Layers.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Writing.h"
#include "tool/render/TextHistory.h"

// history and undo: what was written to a target, and the way back.

namespace Tool {
namespace {

using Planning::HistoryRecord;

/// What `saverestore history` is asked to do.
struct HistoryRequest {
  std::string backupDir;
  std::optional<unsigned> number;
  std::optional<std::size_t> keep;
  bool json = false;
};

/// The record with a number, or the last one of a write. \throws ToolError  there is none.
HistoryRecord Chosen(const std::vector<HistoryRecord>& records, std::optional<unsigned> number,
                     const std::string& folder) {
  const auto last = std::ranges::find_if(
      records.rbegin(), records.rend(),
      [](const HistoryRecord& record) { return record.outcome != Planning::kNothingWritten; });
  if (!number && last != records.rend()) return *last;
  if (!number || records.empty()) {
    throw ToolError(ExitNoInput,
                    "nothing was written to this target that \"" + folder + "\" has a record of");
  }
  const auto record = std::ranges::find(records, *number, &HistoryRecord::number);
  if (record == records.end()) {
    throw ToolError(ExitNoInput, "the history has no number " + std::to_string(*number) +
                                     "; \"history\" lists them");
  }
  return *record;
}

int RunHistory(const HistoryRequest& request, const std::vector<std::string>& targets,
               const Messages& messages) {
  if (targets.empty()) throw ToolError(ExitUsage, "no --target is given: whose history?");
  const Planning::History history(HistoryFolderOf(targets, request.backupDir));
  const std::string target = JoinedTargets(targets);
  if (request.keep) {
    // Its state before is what it goes back to.
    ThrowIfGuarded(history, target, "confirm");
    history.Prune(target, *request.keep);
  }
  std::vector<HistoryRecord> records = history.RecordsOf(target);
  if (request.number) records = {Chosen(records, request.number, history.Folder())};
  if (request.json) {
    messages.Document(Planning::HistoryDocument(records));
  } else if (request.number) {
    ShowRecord(records.front(), messages);
  } else {
    ShowHistory(records, messages);
  }
  return ExitDone;
}

/// What `saverestore undo` is asked to do.
struct UndoRequest : WriteOptions {
  std::optional<unsigned> number;
};

int RunUndo(UndoRequest request, const Messages& messages) {
  const Planning::History history(HistoryFolderOf(request.targets, request.backupDir));
  const HistoryRecord record =
      Chosen(history.RecordsOf(JoinedTargets(request.targets)), request.number, history.Folder());
  const std::vector<Planning::Layer> layers = Planning::StateBefore(record);
  request.ignoresUnknown = true;  // what the server has no more is told, and keeps nothing back
  Planning::LaidRequest laid;     // its file outlives the writing
  const auto make = [&](const Planning::Server& server) {
    laid = Planning::RequestOfLayers(layers, {}, StateOf(server, ModeOf(layers.front().content)));
    return laid.request;
  };
  messages.Note("Back to the state before " + record.command + " " + std::to_string(record.number) +
                " of " + record.time + ".");
  return CarryOut(request, make, messages);
}

}  // namespace

void AddHistory(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<HistoryRequest>();
  AddBackupDir(command, request->backupDir);
  command.add_flag("--json", request->json, "Print JSON");
  command.add_option("--keep", request->keep, "Remove all but the newest N records first")
      ->type_name("N");
  CLI::App* show = command.add_subcommand("show", "Show one record with its changes");
  show->add_option("NUMBER", request->number, "Its number")->required()->type_name("");
  command.require_subcommand(0, 1);
  command.footer(
      "Each restore, apply and undo leaves the state before it and a record here. The\n"
      "newest 50 are kept.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json history show 3\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      return RunHistory(*request, globals.targets.Names(), messages);
    };
  });
}

void AddUndo(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<UndoRequest>();
  request->command = "undo";
  command
      .add_option("NUMBER", request->number,
                  "Which write to take back, by its number in the history; default: the last")
      ->type_name("");
  AddWriteOptions(command, *request);
  command.footer(
      "Brings back the state before that write, and writes only what differs from it.\n"
      "An undo can be undone.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json undo\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      TakeTargets(globals, *request);
      return RunUndo(*request, messages);
    };
  });
}

}  // namespace Tool
