#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plan/ConfigurationFile.h"

namespace Planning {

/// One thing that is wrong with a file, or may be.
struct Finding {
  enum class Weight {
    Error,    ///< a restore is refused
    Warning,  ///< a restore goes on, perhaps not as wanted
  };
  Weight weight;
  std::uint32_t line;  ///< 0: of the file as a whole
  std::string text;
};

/// What a file tells by itself: lines that are none, duplicates, values that are not among the
/// options their comment lists, values longer than a restore reads, sections that no server has.
[[nodiscard]] std::vector<Finding> CheckFile(const ConfigurationFile& file);

[[nodiscard]] bool HasErrors(const std::vector<Finding>& findings);

/// How a finding reads: "x.ini:12: error: ...".
[[nodiscard]] std::string Describe(const Finding& finding, const std::string& file);

}  // namespace Planning
