#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ini/IniDocument.h"
#include "modules/stream/ScfPayload.h"
#include "plan/Configuration.h"

namespace Planning {

/// True when the name says that it is a stream file: it ends in .scf or .SCF.
[[nodiscard]] bool IsStreamName(const std::string& path);

/// A configuration file that has been read: a stream file when its name says so, else a text file.
class ConfigurationFile {
 public:
  /// \throws Failure  there is no such file, it is not permitted, or not of its form.
  explicit ConfigurationFile(const std::string& path);
  /// A text file, with `change` done to its text before it is read. \throws Failure
  ConfigurationFile(const std::string& path,
                    const std::function<std::string(const std::string& text)>& change);

  /// What it holds; of equal keys the last.
  [[nodiscard]] const Configuration& Content() const { return content_; }
  /// The same as it stands there, with every key; names carry their brackets.
  [[nodiscard]] const std::vector<Scf::Section>& Sections() const { return sections_; }
  /// The lines of a text file; null for a stream file.
  [[nodiscard]] const IniDocument* Lines() const { return lines_.get(); }

 private:
  std::unique_ptr<IniDocument> lines_;
  std::vector<Scf::Section> sections_;
  Configuration content_;
};

}  // namespace Planning
