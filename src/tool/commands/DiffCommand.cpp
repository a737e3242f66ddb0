#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "plan/Compare.h"
#include "plan/ConfigurationFile.h"
#include "plan/Document.h"
#include "plan/FileCheck.h"
#include "plan/Rehearsal.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/render/TextDifference.h"
#include "tool/terminal/Progress.h"

namespace Tool {
namespace {

using Planning::Configuration;
using Planning::ConfigurationFile;

/// What `saverestore diff` is asked to do.
struct DiffRequest {
  TargetOpener openTarget;
  std::string file;
  std::string other;  ///< a second file; empty to compare with the target
  std::optional<Planning::Mode> mode;
  bool json = false;
};

/// Reads the target. Settings that a restore finds under other keys of `file` get the keys of the
/// target in it.
Configuration ReadTarget(const DiffRequest& request, Planning::Mode mode, const Messages& messages,
                         Configuration& file) {
  Progress progress(messages);
  const Planning::Server server(request.openTarget(), Watching(messages, &progress));
  progress.Begin("reading the target");
  CheckMode(server.Providers(), mode);
  Configuration configuration = Planning::ConfigurationOfTarget(mode);
  file = AsRead(request.file, file, configuration, mode, server.Providers());
  server.ThrowIfSilent();
  return configuration;
}

/// Prints how a file differs from the target, or from another file.
/// \return ExitDone, or ExitDifferent when they differ.
int RunDiff(const DiffRequest& request, const Messages& messages) {
  const bool withTarget = request.other.empty();
  const ConfigurationFile file = Planning::WellFormed(request.file);
  const Configuration& whole = file.Content();
  const Planning::Mode mode = request.mode.value_or(withTarget ? ModeOf(whole) : Planning::ModeAll);
  Configuration left = InMode(whole, mode);
  const Configuration right = withTarget
                                  ? ReadTarget(request, mode, messages, left)
                                  : InMode(Planning::WellFormed(request.other).Content(), mode);
  const Planning::Comparison comparison = Compare(left, right);
  if (request.json) {
    const auto other = withTarget ? std::nullopt : std::optional(request.other);
    messages.Document(Planning::DiffDocument(comparison, request.file, other));
  } else {
    ShowComparison(comparison,
                   withTarget ? Sides{"file", "machine", true} : Sides{"first", "second"},
                   messages);
  }
  return comparison.IsEmpty() ? ExitDone : ExitDifferent;
}

}  // namespace

void AddDiff(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<DiffRequest>();
  AddFile(command, request->file, "The file");
  command.add_option("OTHER", request->other, "Another file, to compare without a target")
      ->type_name("");
  AddMode(command, request->mode, kModeOfFile);
  command.add_flag("--json", request->json, "Print JSON");
  command.footer(
      "Values compare as a restore would take them. Against a target they read as the\n"
      "change that a restore of FILE would make, against a file from FILE to OTHER.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json diff server.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      request->openTarget = OpenerOf(globals);
      return RunDiff(*request, messages);
    };
  });
}

}  // namespace Tool
