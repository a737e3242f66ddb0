#pragma once

#include <memory>
#include <string>

#include "common/AtomicFile.h"
#include "plan/TransientFolder.h"
#include "tool/terminal/Messages.h"

namespace Tool {

/// A stream file holds all of a server. \throws ToolError  `given` is the name of one.
void CheckHoldsPart(const std::string& given);

/// A configuration file that a command writes whole or not at all, to a path or, as text, to
/// standard output.
class OutputFile {
 public:
  /// \throws ToolError, ResultStatus  it cannot be written there (`CheckDestination`).
  OutputFile(const std::string& given, bool overwrite);

  /// How people call it.
  [[nodiscard]] std::string Name() const { return folder_ == nullptr ? path_ : "standard output"; }

  /// The file to write.
  [[nodiscard]] Common::AtomicFile& File() { return *file_; }

  /// Brings the file to its place. \throws ToolError, ResultStatus
  void Commit();

  /// Says what became of it: beside standard output when that has the file.
  void Tell(const std::string& text, const Messages& messages) const;

 private:
  bool overwrite_;
  std::string path_;
  std::unique_ptr<Planning::TransientFolder> folder_;  ///< of a file for standard output
  std::unique_ptr<Common::AtomicFile> file_;
};

}  // namespace Tool
