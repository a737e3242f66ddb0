#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "plan/KeptPlan.h"
#include "plan/Layers.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"
#include "tool/commands/LayerOptions.h"
#include "tool/commands/Writing.h"

namespace Tool {
namespace {

/// What `saverestore apply` is asked to do.
struct ApplyRequest : WriteOptions {
  LayerOptions layers;
  Planning::Selection selection;
  bool requireFirmware = false;
  std::string planFile;  ///< a plan to carry out, in the place of all that
};

int ApplyLayers(const ApplyRequest& request, const Messages& messages) {
  if (request.layers.files.empty() && request.layers.settings.empty()) {
    throw ToolError(ExitUsage, "apply needs a FILE, --set or --plan");
  }
  const std::vector<Planning::SourceFile> sources = VariablesSources(request.layers);
  const std::vector<Planning::Layer> layers = ReadLayers(request.layers);
  Planning::LaidRequest laid;  // its file outlives the writing
  const auto make = [&](const Planning::Server& server) {
    laid = Planning::RequestOfLayers(layers, request.selection, StateOf(server));
    std::ranges::copy(sources, std::back_inserter(laid.request.files));
    if (request.requireFirmware && laid.request.wanted.Of("SYSTEM").empty()) {
      throw ToolError(ExitBadInput,
                      "no file has a [SYSTEM] section, which --require-firmware "
                      "demands; nothing was written");
    }
    return laid.request;
  };
  return CarryOut(request, make, messages);
}

/// Carries out what was shown when the plan was made, and nothing else.
int ApplyPlan(const ApplyRequest& request, const Messages& messages) {
  if (request.skipSystemCheck || request.skipBootOrder || request.keepsGoing ||
      request.ignoresUnknown) {
    throw ToolError(ExitUsage, "a plan says by itself what is skipped or passed over");
  }
  const Planning::KeptPlan kept = Planning::ReadPlan(request.planFile);
  ApplyRequest options = request;
  options.keptPlan = &kept;
  options.keepsGoing = kept.keepsGoing;
  options.ignoresUnknown = kept.ignoresUnknown;
  Planning::LaidRequest laid;  // its file outlives the writing
  const auto make = [&](const Planning::Server& server) {
    laid = RequestOfPlan(kept, request.planFile, StateOf(server));
    return laid.request;
  };
  return CarryOut(options, make, messages);
}

}  // namespace

void AddApply(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<ApplyRequest>();
  request->command = "apply";
  CLI::Option* plan = command.add_option("--plan", request->planFile,
                                         "Carry out a plan of --plan-out, on the target that it "
                                         "was made for and if nothing has changed since");
  plan->type_name("PLAN.json");
  AddLayers(command, request->layers, "Files of what is wanted, later ones over earlier")
      ->required(false);
  AddSelection(command, request->selection);
  CLI::Option* firmware = command.add_flag("--require-firmware", request->requireFirmware,
                                           "Refuse files without a [SYSTEM] section");
  plan->excludes(firmware);
  for (const char* other : {"FILE", "--set", "--var", "--vars", "--only", "--except"}) {
    plan->excludes(command.get_option(other));
  }
  AddWriteOptions(command, *request);
  firmware->excludes(command.get_option("--skip-system-check"));
  command.footer(
      "What no FILE names stays as it is, and nothing is written that is as wanted\n"
      "already. A section name may hold \"*\" for all instances that the target has.\n\n"
      "Example:\n"
      "  saverestore --target machine:server.json apply baseline.ini rack-7.ini\n");
  command.callback([request, &chosen] {
    chosen = [request](const Globals& globals, const Messages& messages) {
      TakeTargets(globals, *request);
      return request->planFile.empty() ? ApplyLayers(*request, messages)
                                       : ApplyPlan(*request, messages);
    };
  });
}

}  // namespace Tool
