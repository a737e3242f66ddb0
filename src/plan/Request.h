#pragma once

#include <optional>
#include <string>
#include <vector>

#include "plan/Configuration.h"
#include "plan/FileCheck.h"
#include "plan/SourceFile.h"

namespace Planning {

/// What is wanted of a server, and how it is to be written.
struct Request {
  std::string name;               ///< how people call it; of a file its name
  std::string file;               ///< a configuration file of either form, for the restore to read
  std::string target;             ///< the server for people who have not named it; else empty
  Configuration wanted;           ///< what that file holds
  std::vector<SourceFile> files;  ///< where it is from
  std::vector<Finding> findings;  ///< what it tells by itself
  std::vector<std::string> lost;  ///< what of it no restore can keep, a sentence each
  Mode mode = ModeAll;
  bool skipSystemCheck = false;  ///< do not compare [SYSTEM] with the server
  bool skipBootOrder = false;    ///< leave the boot order and the hard-disk order alone
  bool keepsGoing = false;       ///< write the rest where some values cannot be taken
  bool ignoresUnknown = false;   ///< pass over names that the server does not know
  /// Only a part is wanted: what `wanted` does not name, and what is as wanted already, is not
  /// written. The file then holds the rest as the server has it.
  bool isPart = false;
  std::optional<Configuration> present;  ///< what the server has, where that is known already
};

/// The request for a file as it is; people call it `name`, or by its path. Without a mode it is the
/// one that covers what the file holds.
/// \throws Failure, ResultStatus  as ConfigurationFile.
[[nodiscard]] Request RequestOfFile(const std::string& path, std::optional<Mode> mode,
                                    const std::string& name = "");

}  // namespace Planning
