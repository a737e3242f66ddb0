#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "plan/Layers.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/Writing.h"

namespace Tool {
namespace {

/// What `saverestore apply` is asked to do.
struct ApplyRequest : WriteOptions {
  std::vector<std::string> sets;
  std::vector<std::string> variables;
  std::string variablesFile;
  Planning::Selection selection;
  bool requireFirmware = false;
};

std::vector<Planning::Layer> LayersOf(const ApplyRequest& request) {
  Planning::Variables variables;
  if (!request.variablesFile.empty()) {
    Planning::AddVariablesOfFile(request.variablesFile, variables);
  }
  Planning::AddVariables(request.variables, variables);
  std::vector<Planning::Layer> layers;
  for (const std::string& file : request.files) {
    layers.push_back(Planning::ReadLayer(file, variables));
  }
  if (!request.sets.empty()) layers.push_back(Planning::LayerOfTexts(request.sets));
  if (layers.empty()) throw ToolError(ExitUsage, "apply needs a FILE or --set");
  return layers;
}

int RunApply(const ApplyRequest& request, const Messages& messages) {
  const std::vector<Planning::Layer> layers = LayersOf(request);
  Planning::LaidRequest laid;  // its file outlives the writing
  const auto make = [&](const Planning::Server& server) {
    const Planning::Configuration present =
        Planning::ConfigurationOfTarget(ModeOf(server.Providers()));
    server.ThrowIfSilent();
    laid = Planning::RequestOfLayers(layers, request.selection, present);
    if (request.requireFirmware && laid.request.wanted.Of("SYSTEM").empty()) {
      throw ToolError(ExitBadInput,
                      "no file has a [SYSTEM] section, which --require-firmware "
                      "demands; nothing was written");
    }
    return laid.request;
  };
  return CarryOut(request, make, messages);
}

}  // namespace

void AddApply(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ApplyRequest>();
  request->command = "apply";
  command.add_option("FILES", request->files, "Files of what is wanted, later ones over earlier")
      ->type_name("");
  command
      .add_option("--set", request->sets,
                  "A setting over all files; repeatable, for example POWER::PowerRestorePolicy=off")
      ->type_name("SECTION::KEY=VALUE")
      ->allow_extra_args(false);
  command.add_option("--var", request->variables, "The value of a placeholder; repeatable")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  command.add_option("--vars", request->variablesFile, "A JSON object with more of them")
      ->type_name("FILE");
  command
      .add_option("--only", request->selection.only,
                  "Only settings that this pattern of SECTION::KEY fits; repeatable")
      ->type_name("GLOB")
      ->allow_extra_args(false);
  command.add_option("--except", request->selection.except, "None that this one fits; repeatable")
      ->type_name("GLOB")
      ->allow_extra_args(false);
  command.add_flag("--require-firmware", request->requireFirmware,
                   "Refuse files without a [SYSTEM] section");
  AddWriteOptions(command, *request);
  command.footer(
      "What no FILE names stays as it is, and nothing is written that is as wanted\n"
      "already. A section name may hold \"*\" for all instances that the target has.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json apply baseline.ini rack-7.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      TakeTargets(globals, *request);
      return RunApply(*request, messages);
    };
  });
}

}  // namespace Tool
