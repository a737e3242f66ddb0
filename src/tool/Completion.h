#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Tool {

class Kinds;

/// A word that could stand at the end of a command line, and what it means.
struct Candidate {
  std::string word;  ///< goes on when it ends in "/", ":" or "="
  std::string meaning;
};

/// What could stand for the last of `words`, which is there as far as it was typed: commands,
/// options, their values, targets, files, and the names of settings in the files on the line.
/// `app` knows the commands and the options of the loaded `kinds`.
[[nodiscard]] std::vector<Candidate> CandidatesFor(const std::vector<std::string>& words,
                                                   const CLI::App& app, const Kinds& kinds);

/// `word` of a shell's command line without its quotes and backslashes. Nothing is expanded.
[[nodiscard]] std::string Unquoted(const std::string& word);

}  // namespace Tool
