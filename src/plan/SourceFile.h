#pragma once

#include <string>
#include <string_view>

namespace Planning {

/// A file that says what is wanted, as it was when it was read.
struct SourceFile {
  std::string name;    ///< how people call it
  std::string path;    ///< from the root; empty for one that nobody can look at again
  std::string sha256;  ///< of its bytes, in hexadecimal; empty when it could not be read
};

/// The file at `path` as it is now; `name` where people call it something else, since it is a file
/// of the moment.
[[nodiscard]] SourceFile SourceOf(const std::string& path, const std::string& name = "");

/// The SHA-256 of bytes in hexadecimal.
[[nodiscard]] std::string Sha256(std::string_view bytes);

/// The SHA-256 of a file in hexadecimal; empty when it cannot be read.
[[nodiscard]] std::string Sha256OfFile(const std::string& path);

}  // namespace Planning
