#pragma once

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class FormatterBase;
}  // namespace CLI

namespace Tool {

/// Lays the help out in 80 columns.
[[nodiscard]] std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter();

/// What of the command line `app` does not know, and what was probably meant; empty when the parser
/// has another objection. Of an unknown option only its name is there: what follows may be secret.
[[nodiscard]] std::string WhatIsUnknown(const CLI::App& app);

/// `text` without what stands behind an option about passwords.
[[nodiscard]] std::string WithoutSecrets(std::string text, const std::vector<std::string>& words);

}  // namespace Tool
