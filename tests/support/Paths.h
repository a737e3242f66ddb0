#pragma once

#include <string>

/// The places that the build knows, in one file: a test that needs one asks here.
namespace Test {

/// The folder of the sources, with the examples and the golden files.
std::string SourceFolder();

/// The program `saverestore` as it was built. Empty in a build without the tool.
std::string ToolProgram();

}  // namespace Test
