#pragma once

#include <memory>
#include <string>

#include "plan/TransientFolder.h"

namespace Tool {

/// How a command line says standard input or standard output in the place of a file.
inline constexpr const char* kStandardStream = "-";

/// A configuration file that a command line names. Standard input is kept in a file of its owner
/// alone, for as long as this lives, so that all that reads files can read it.
class InputFile {
 public:
  /// Reads standard input to its end when `given` says so: once, since it is empty then.
  /// \throws ToolError, ResultStatus  it cannot be read, has been read before, or is too large.
  explicit InputFile(const std::string& given);

  /// Where it can be read; the name tells the form.
  [[nodiscard]] const std::string& Path() const { return path_; }
  /// How people call it.
  [[nodiscard]] const std::string& Name() const { return name_; }

 private:
  std::string name_;
  std::string path_;
  std::unique_ptr<Planning::TransientFolder> folder_;
};

}  // namespace Tool
