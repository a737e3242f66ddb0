#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Common {

/// How reading a file as a whole went.
struct WholeFileResult {
  enum class Status { Ok, CannotRead, TooLarge };
  Status status;
  std::string reason;  ///< a sentence part ("No such file or directory"); empty when Ok
};

/// Reads the regular file at `path` into `bytes`, which is emptied first and empty again after a
/// failure. One of more than `limit` bytes is TooLarge, also when it grows while it is read; what
/// is no regular file is refused without waiting for it.
[[nodiscard]] WholeFileResult ReadWholeFile(const char* path, std::size_t limit,
                                            std::vector<char>& bytes);

/// The same for an open file, from where it stands.
[[nodiscard]] WholeFileResult ReadWholeFile(int descriptor, std::size_t limit,
                                            std::vector<char>& bytes);

}  // namespace Common
