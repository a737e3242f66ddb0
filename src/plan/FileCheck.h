#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "plan/ConfigurationFile.h"
#include "plan/Names.h"
#include "plan/Selection.h"

namespace Planning {

/// One thing that is wrong with a file, or may be.
struct Finding {
  enum class Weight {
    Error,    ///< a restore is refused
    Unknown,  ///< a name that nothing has: a restore is refused until it is told to pass over it
    Warning,  ///< a restore goes on, perhaps not as wanted
  };
  Weight weight;
  std::uint32_t line;  ///< 0: of the file as a whole
  std::string text;
  SettingName about = {};  ///< empty: not about one setting
  std::string file = {};   ///< which of several files it is about; empty where there is one
};

/// What a file tells by itself: lines that are none, duplicates, values that are not among the
/// options their comment lists or have a comment for a part, values longer than a restore reads,
/// names that no server has, an end that is missing.
enum class Extent {
  Whole,
  Part,      ///< some settings; sections may hold a "*", so which names are known shows on a server
  Baseline,  ///< a part that says so: it ends where it ends
};
[[nodiscard]] std::vector<Finding> CheckFile(const ConfigurationFile& file,
                                             Extent extent = Extent::Whole);

/// \throws Failure  the findings hold an error; it is named, and how many more there are.
void ThrowIfMalformed(const std::vector<Finding>& findings, const std::string& file);

/// The findings without those about settings that `selection` does not cover.
[[nodiscard]] std::vector<Finding> Selected(std::vector<Finding> findings,
                                            const Selection& selection);

/// The file at `path`, which has no line that is none and is not empty. People call it `name`, or
/// by its path.
/// \throws Failure  it has, or cannot be read.
[[nodiscard]] ConfigurationFile WellFormed(const std::string& path, const std::string& name = "");

/// A file without a section, or that ends where no save ends, as one that was cut. A part is taken
/// for a save that was cut when it has all sections that a save has before its last one, or no key
/// in that.
[[nodiscard]] std::vector<Finding> CheckEnd(const ConfigurationFile& file,
                                            Extent extent = Extent::Whole);

/// The devices of a boot order that stand at two positions, a sentence each: a file cannot say
/// where two devices of one name stand.
[[nodiscard]] std::vector<std::string> LostPositions(const ConfigurationFile& file);

[[nodiscard]] bool HasErrors(const std::vector<Finding>& findings);
[[nodiscard]] bool HasUnknown(const std::vector<Finding>& findings);

/// How a finding reads: "x.ini:12: error: ...".
[[nodiscard]] std::string Describe(const Finding& finding, const std::string& file);

}  // namespace Planning
