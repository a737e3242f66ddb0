#pragma once

#include <string>

#include "plan/Layers.h"

namespace Planning {

/// `text`, a file that people call `name`, with its placeholders filled when its first line says
/// that it has some. Comment lines stay as they are.
/// \throws Failure  a placeholder has no variable, or is not closed; names file and line.
[[nodiscard]] std::string Filled(const std::string& text, const std::string& name,
                                 const Variables& variables);

}  // namespace Planning
