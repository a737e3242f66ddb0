#include "support/Paths.h"

namespace Test {

std::string SourceFolder() {
  return SAVERESTORE_SOURCE_DIR;
}

std::string ToolProgram() {
  return SAVERESTORE_TOOL_PROGRAM;
}

}  // namespace Test
