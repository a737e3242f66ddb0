#include "tool/commands/RegistryCommand.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "providers/redfish/Json.h"
#include "providers/redfish/SetupTree.h"
#include "tool/ExitCodes.h"
#include "tool/commands/Commands.h"

namespace Tool {
namespace {

using nlohmann::json;

/// What `saverestore machine from-registry` is asked to do.
struct RegistryRequest {
  std::string registry;  ///< a BIOS attribute registry as JSON
  std::string values;    ///< a Bios resource, or its "Attributes"; empty: the registry's own values
  std::string out;       ///< the machine file
  bool overwrite = false;
};

constexpr const char* kUnknown = "unknown";

json ReadJson(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    throw ToolError(ExitNoInput, "\"" + path + "\" does not exist");
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw ToolError(ExitNotPermitted, "\"" + path + "\" cannot be opened");
  json content = json::parse(file, nullptr, false);
  if (!content.is_object()) throw ToolError(ExitBadInput, "\"" + path + "\" is no JSON object");
  return content;
}

json ReadRegistry(const std::string& path) {
  json registry = ReadJson(path);
  if (!Redfish::At(registry, {"RegistryEntries", "Attributes"}).is_array()) {
    throw ToolError(ExitBadInput, "\"" + path +
                                      "\" is no attribute registry: it has no list "
                                      "\"RegistryEntries\" / \"Attributes\"");
  }
  return registry;
}

json ReadValues(const std::string& path) {
  json values = ReadJson(path);
  const json& attributes = Redfish::At(values, {"Attributes"});
  return attributes.is_object() ? attributes : values;
}

Machine::Constraint ConstraintOf(const Query::Limits& limits) {
  Machine::Constraint constraint;
  constraint.writable = !limits.isReadOnly;
  if (limits.range) constraint.range = {limits.range->low, limits.range->high};
  if (limits.length) constraint.length = {limits.length->low, limits.length->high};
  return constraint;
}

void SetValue(NodeMap& nodes, const char* path, const std::string& value) {
  nodes[path].values = {value.empty() ? kUnknown : value};
}

/// Makes a machine file of a published attribute registry: a server to rehearse on.
/// \throws ToolError, ResultStatus  a file cannot be read or is not what it should be, or the
///                                  machine file cannot be written.
void RunFromRegistry(const RegistryRequest& request, const Messages& messages) {
  std::error_code error;
  if (!request.overwrite &&
      std::filesystem::exists(std::filesystem::symlink_status(request.out, error))) {
    throw ToolError(ExitFailed, "\"" + request.out + "\" exists; --overwrite replaces it");
  }
  const json registry = ReadRegistry(request.registry);
  const json attributes =
      request.values.empty() ? Redfish::AttributesOfRegistry(registry) : ReadValues(request.values);
  const Machine::MachineImage machine = MachineOfRegistry(attributes, registry);
  Machine::StoreMachine(machine, request.out);
  std::size_t settings = 0;
  for (const auto& [path, node] : machine.nodes) {
    if (node.kind == NODE_SETTING && path.starts_with(Redfish::kSetupRoot)) ++settings;
  }
  messages.Result("Wrote " + request.out + ": " + Counted(settings, "setting") + " of " +
                  Counted(attributes.size(), "attribute") + ".");
}

}  // namespace

Machine::MachineImage MachineOfRegistry(const json& attributes, const json& registry) {
  Redfish::SetupTree tree = Redfish::BuildSetupTree(attributes, registry);
  Machine::MachineImage machine;
  machine.nodes = std::move(tree.nodes);
  for (const auto& [path, attribute] : tree.attributes) {
    const Machine::Constraint constraint = ConstraintOf(machine.nodes.at(path).limits);
    if (constraint != Machine::Constraint{}) machine.constraints.emplace(path, constraint);
  }
  _XNode& root = machine.nodes["/BIOS"];
  root.kind = NODE_MENU;
  root.values = {Redfish::kSetupRoot};
  machine.nodes["/BIOS/UEFI231Aware"].values = {"True"};
  std::string version;
  if (const json& systems = Redfish::At(registry, {"SupportedSystems"});
      systems.is_array() && !systems.empty()) {
    version = Redfish::TextAt(systems.front(), {"FirmwareVersion"});
  }
  SetValue(machine.nodes, "/SMBIOS/Type0/BIOSVersion", version);
  SetValue(machine.nodes, "/BMC/INFO/VERSION", "");
  return machine;
}

void AddFromRegistry(CLI::App& command, Command& chosen) {
  auto request = std::make_shared<RegistryRequest>();
  auto files = std::make_shared<std::vector<std::string>>();
  command.add_option("FILES", *files, "REGISTRY.json [VALUES.json] OUT.json")
      ->required()
      ->expected(2, 3)
      ->type_name("");
  command.add_flag("--overwrite", request->overwrite, "Replace OUT.json when it exists");
  command.footer(
      "VALUES.json holds the attributes of a Bios resource; without it the settings\n"
      "have the registry's own values. Needs no target.\n\n"
      "Example:\n"
      "  saverestore machine from-registry registry.json server.json\n");
  command.callback([request, files, &chosen] {
    chosen = [request, files](const Globals&, const Messages& messages) {
      request->registry = files->front();
      request->out = files->back();
      if (files->size() == 3) request->values = (*files)[1];
      RunFromRegistry(*request, messages);
      return int{ExitDone};
    };
  });
}

}  // namespace Tool
