#include "tool/commands/LayerOptions.h"

#include <CLI/CLI.hpp>

#include "plan/Compare.h"
#include "tool/InputFile.h"

namespace Tool {
namespace {

/// An option that may be given several times, with one value each time.
void AddRepeatable(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                   const std::string& description, const std::string& typeName) {
  command.add_option(name, values, description)->type_name(typeName)->allow_extra_args(false);
}

}  // namespace

std::string LayerOptions::Name() const {
  std::string name;
  const auto add = [&](const std::string& part) { name += (name.empty() ? "" : ", ") + part; };
  for (const std::string& file : files) add(file == kStandardStream ? "standard input" : file);
  if (!settings.empty()) add("--set");
  return name;
}

CLI::Option* AddLayers(CLI::App& command, LayerOptions& options, const std::string& description) {
  CLI::Option* files =
      command.add_option("FILE", options.files, description)->required()->type_name("");
  AddRepeatable(command, "--set", options.settings, "Lay this over the files; repeatable",
                "SECTION::KEY=VALUE");
  AddRepeatable(command, "--var", options.variables,
                "What the placeholder ${NAME} of a baseline stands for; repeatable", "NAME=VALUE");
  AddRepeatable(command, "--vars", options.variablesFiles,
                "Take placeholders from this JSON object; repeatable", "FILE");
  return files;
}

std::vector<Planning::SourceFile> VariablesSources(const LayerOptions& options) {
  std::vector<Planning::SourceFile> sources;
  for (const std::string& file : options.variablesFiles) {
    sources.push_back(Planning::SourceOf(file));
  }
  return sources;
}

std::vector<Planning::Layer> ReadLayers(const LayerOptions& options) {
  Planning::Variables variables;
  for (const std::string& file : options.variablesFiles) {
    Planning::AddVariablesOfFile(file, variables);
  }
  Planning::AddVariables(options.variables, variables);
  std::vector<Planning::Layer> layers;
  for (const std::string& given : options.files) {
    const InputFile file(given);
    layers.push_back(Planning::ReadLayer(file.Path(), variables, file.Name()));
  }
  if (!options.settings.empty()) layers.push_back(Planning::LayerOfTexts(options.settings));
  return layers;
}

WantedLayers::WantedLayers(const LayerOptions& options, const Planning::Selection& selection,
                           std::optional<Planning::Mode> mode)
    : layers_(ReadLayers(options)),
      selection_(selection),
      mode_(mode.value_or(ModeOf(Planning::Overlaid(layers_, {})))) {}

std::vector<std::string> WantedLayers::Cut() const {
  std::vector<std::string> cut;
  for (const Planning::Layer& layer : layers_) {
    for (const Planning::Finding& end : layer.end) cut.push_back(layer.name + ": " + end.text);
  }
  return cut;
}

Planning::Configuration WantedLayers::On(const Planning::Configuration& present) const {
  const Planning::Configuration whole = InMode(Planning::Overlaid(layers_, present), mode_);
  selection_.ThrowIfIdle(whole);
  return selection_.Of(whole);
}

void AddSelection(CLI::App& command, Planning::Selection& selection) {
  AddRepeatable(command, "--only", selection.only,
                "Keep to settings that fit this pattern, for example \"POWER::*\"; repeatable",
                "SECTION::KEY");
  AddRepeatable(command, "--except", selection.except,
                "Leave settings out that fit this pattern; repeatable", "SECTION::KEY");
}

}  // namespace Tool
