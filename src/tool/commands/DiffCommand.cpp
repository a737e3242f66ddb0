#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Absent.h"
#include "plan/Compare.h"
#include "plan/Document.h"
#include "plan/HostsOwn.h"
#include "plan/Rehearsal.h"
#include "plan/State.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"
#include "tool/render/TextDifference.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

using Planning::Configuration;

/// What `saverestore diff` is asked to do.
struct DiffRequest {
  TargetOpener openTarget;
  LayerOptions layers;
  Planning::Selection selection;
  std::optional<Planning::Mode> mode;
  bool isBaseline = false;  ///< what the files do not name is no difference
  bool showsOwn = false;    ///< show what differs in what is the host's own
  bool json = false;
};

/// Prints the differences. \return ExitDone, or ExitDifferent when there are some.
int Show(const DiffRequest& request, const Planning::Comparison& comparison,
         const std::string& file, const std::optional<std::string>& other,
         const Messages& messages) {
  if (request.json) {
    messages.Document(Planning::DiffDocument(comparison, file, other));
  } else {
    ShowComparison(comparison, other ? Sides{"first", "second"} : Sides{"file", "machine", true},
                   request.showsOwn, messages);
  }
  return comparison.IsEmpty() ? ExitDone : ExitDifferent;
}

int CompareFiles(const DiffRequest& request, const Messages& messages) {
  if (request.layers.files.size() != 2 || !request.layers.settings.empty()) {
    throw ToolError(ExitUsage, "without a --target it takes two files, and nothing over them");
  }
  const std::vector<Planning::Layer> layers = ReadLayers(request.layers);
  const auto wanted = [&](const Planning::Layer& layer) {
    return request.selection.Of(InMode(layer.content, request.mode.value_or(Planning::ModeAll)));
  };
  request.selection.ThrowIfIdle(layers.front().content);
  const Configuration left = wanted(layers.front());
  const Configuration right = wanted(layers.back());
  Planning::Comparison comparison = Compare(left, right);
  if (request.isBaseline) comparison.IgnoreWhatIsOnlyRight();
  return Show(request, comparison, layers.front().name, layers.back().name, messages);
}

int CompareWithTarget(const DiffRequest& request, const Messages& messages) {
  const WantedLayers layers(request.layers, request.selection, request.mode);
  Progress progress(messages);
  const Planning::Server server(request.openTarget(), Watching(messages, &progress));
  progress.Begin("reading the target");
  const Configuration present = PresentOf(server, layers.Mode());
  Configuration left = layers.On(present);
  if (!request.isBaseline) left = AsRead(left, present, layers.Mode(), server.Providers());
  server.ThrowIfSilent();
  const Configuration right = request.selection.Of(present);
  Planning::Comparison comparison = Compare(left, right);
  SetApart(HostsOwn(left, right), comparison);
  TakeOut(AbsentOf(left, right, server), comparison);
  server.ThrowIfSilent();
  if (request.isBaseline) comparison.IgnoreWhatIsOnlyRight();
  return Show(request, comparison, request.layers.Name(), std::nullopt, messages);
}

}  // namespace

void AddDiff(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<DiffRequest>();
  AddLayers(command, request->layers,
            "The files: with a target laid over each other, without one two to compare");
  AddSelection(command, request->selection);
  AddMode(command, request->mode, kModeOfFile);
  command.add_flag("--baseline", request->isBaseline,
                   "What the files do not name is no difference");
  command.add_flag("--all", request->showsOwn,
                   "Show also what differs in settings that a restore never writes");
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "Values compare as a restore would take them. Against a target they read as the\n"
      "change that a restore would make, between files from the first to the second.\n"
      "Settings that a restore never writes, addresses for example, are the host's\n"
      "own and no difference.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json diff server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      if (globals.targets.Names().empty() && request->layers.files.size() > 1) {
        return CompareFiles(*request, messages);
      }
      request->openTarget = OpenerOf(globals);
      return CompareWithTarget(*request, messages);
    };
  });
}

}  // namespace Tool
