#pragma once

#include <string>
#include <string_view>

#include "plan/Layers.h"

namespace Planning {

/// `text`, a file that people call `name`, with its placeholders filled when its first line says
/// that it has some. Comment lines stay as they are.
/// \throws Failure  a placeholder has no variable, or is not closed; names file and line.
[[nodiscard]] std::string Filled(const std::string& text, const std::string& name,
                                 const Variables& variables);

/// True when the first line of a file says that it has placeholders: it is a part that was made.
[[nodiscard]] bool IsBaseline(std::string_view text);

/// `text`, a file without placeholders, as one that says that it has some: `Filled` gives it back
/// behind its first line.
[[nodiscard]] std::string AsBaseline(const std::string& text);

}  // namespace Planning
