#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "plan/FileCheck.h"
#include "plan/History.h"
#include "plan/Request.h"
#include "plan/Selection.h"
#include "plan/State.h"
#include "plan/TransientFolder.h"

// What is wanted of a server without naming all that it has: short files, laid over each other and
// over what the server has at present. What no layer names stays as it is.

namespace Planning {

/// One layer. A section name may hold "*", which stands for all instances that the server has.
struct Layer {
  std::string name;  ///< how people call it; of a file its name
  Configuration content;
  std::optional<SourceFile> source = {};  ///< the file that it was read from
  std::vector<Finding> findings = {};     ///< what it tells by itself
  std::vector<Finding> end = {};          ///< likewise, of an end that is missing
};

/// The values of placeholders, by name.
using Variables = std::map<std::string, std::string>;

/// The first line of a text file in which "${NAME}" is a placeholder and "$$" a dollar. In all
/// other files they are what they look like: no saved file changes its meaning.
inline constexpr const char* kBaselineLine = "; saverestore baseline 1";

/// Reads a file of any part of the settings, of either form; people call it `name`, or by its path.
/// \throws Failure  it cannot be read, is malformed, or has a placeholder that no variable fills.
[[nodiscard]] Layer ReadLayer(const std::string& path, const Variables& variables,
                              const std::string& name = "");

/// The layer of "SECTION::KEY=VALUE" texts, escaped as in files. \throws Failure  one is malformed.
[[nodiscard]] Layer LayerOfTexts(const std::vector<std::string>& texts);

/// Variables from "NAME=VALUE" texts. \throws Failure  one is malformed.
void AddVariables(const std::vector<std::string>& texts, Variables& variables);

/// The members of the JSON object in the file at `path`: texts and numbers.
/// \throws Failure  it cannot be read as one.
void AddVariablesOfFile(const std::string& path, Variables& variables);

/// The state before a write: what was saved, and over it what waited for the next boot.
/// \throws Failure  it cannot be read.
[[nodiscard]] std::vector<Layer> StateBefore(const HistoryRecord& record);

/// The layers as one: later ones over earlier ones, in each named instances over a "*". Wildcards
/// stand for the sections of `present`.
[[nodiscard]] Configuration Overlaid(const std::vector<Layer>& layers,
                                     const Configuration& present);

/// `present` with the values of `wanted`. Of a boot order that is wanted it has the wanted devices
/// only, so that the others fill the positions that are free.
[[nodiscard]] Configuration Laid(const Configuration& wanted, const Configuration& present);

/// A configuration as a text file of its owner alone, for as long as this lives.
class TransientFile {
 public:
  /// \throws Failure, ResultStatus  it cannot be written.
  explicit TransientFile(const Configuration& content);

  [[nodiscard]] std::string Path() const { return folder_.PathOf("wanted.ini"); }

 private:
  TransientFolder folder_;
};

/// What layers want of a server, as a request. Its file is there as long as this is.
struct LaidRequest {
  Request request;
  std::unique_ptr<TransientFile> file;
};

/// The request for those of the layers' settings that `selection` covers, on a server in `state`:
/// what waits for its boot and is not named goes on waiting. [SYSTEM] is compared when a layer has
/// it. \throws Failure  the selection has a pattern that fits nothing.
[[nodiscard]] LaidRequest RequestOfLayers(const std::vector<Layer>& layers,
                                          const Selection& selection, const State& state);

/// The request for what `selection` covers of one file, which people call `name`. Without a mode it
/// is the one that covers that. \throws Failure  it cannot be read, or a pattern fits nothing.
[[nodiscard]] LaidRequest RequestOfPart(const std::string& path, const std::string& name,
                                        std::optional<Mode> mode, const Selection& selection,
                                        const State& state);

/// Writes a configuration as a text file. \throws ResultStatus
void WriteTextFile(const std::string& path, const Configuration& content);

}  // namespace Planning
