#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plan/Layers.h"
#include "plan/Selection.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace Tool {

/// The files that a command line lays over each other, and what it gives beside them.
struct LayerOptions {
  std::vector<std::string> files;
  std::vector<std::string> settings;        ///< --set
  std::vector<std::string> variables;       ///< --var
  std::vector<std::string> variablesFiles;  ///< --vars

  /// How people call them together: "baseline.ini, rack-7.ini, --set".
  [[nodiscard]] std::string Name() const;
};

/// The argument FILE..., and --set, --var and --vars. `options` outlives the parse.
/// \return the argument, which is required.
CLI::Option* AddLayers(CLI::App& command, LayerOptions& options, const std::string& description);

/// Reads the layers, the first one the lowest. \throws Failure, ToolError
[[nodiscard]] std::vector<Planning::Layer> ReadLayers(const LayerOptions& options);

/// The files of variables, as they are now.
[[nodiscard]] std::vector<Planning::SourceFile> VariablesSources(const LayerOptions& options);

/// Layers that are read, before and after it is known what a server has.
class WantedLayers {
 public:
  /// Without a mode it is the one that covers what the layers hold. \throws Failure, ToolError
  WantedLayers(const LayerOptions& options, const Planning::Selection& selection,
               std::optional<Planning::Mode> mode);

  [[nodiscard]] Planning::Mode Mode() const { return mode_; }
  /// Those that are probably cut, a sentence each.
  [[nodiscard]] std::vector<std::string> Cut() const;
  /// What is selected of them, on a server that has `present`.
  /// \throws Failure  the selection has a pattern that fits nothing.
  [[nodiscard]] Planning::Configuration On(const Planning::Configuration& present) const;

 private:
  std::vector<Planning::Layer> layers_;
  const Planning::Selection& selection_;
  Planning::Mode mode_;
};

/// The options --only and --except. `selection` outlives the parse.
void AddSelection(CLI::App& command, Planning::Selection& selection);

}  // namespace Tool
