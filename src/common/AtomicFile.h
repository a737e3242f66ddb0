#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Common {

/// A file that takes the place of `destination` whole or not at all: it is written under a
/// temporary name beside it, mode 0600, and renamed by `Commit`. Without a commit the destructor
/// removes it. A symbolic link stays one: the file that it leads to is replaced. All failures are
/// `ResultStatus` WriteFailed or NotPermitted that name the file.
class AtomicFile {
 public:
  enum class Existing { Replace, Keep };

  /// Creates the empty temporary file, and removes those that killed processes have left for the
  /// same destination. Its name ends in `destination`'s last four characters, so that code that
  /// looks at the extension sees the right one.
  explicit AtomicFile(std::string destination);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile();

  /// The temporary file's path, to be written by name.
  [[nodiscard]] const std::string& TemporaryPath() const { return temporary_; }

  /// The same in at most `longest` bytes, for code that takes no longer name: where the path itself
  /// is longer, by way of its folder, which stays open as long as this object.
  [[nodiscard]] std::string TemporaryPathWithin(std::size_t longest);

  [[nodiscard]] const std::string& Destination() const { return destination_; }

  /// Appends `text` to the temporary file.
  void Write(std::string_view text);

  /// Raises why the disk does not take the file, which was written by name and has failed without
  /// a reason: it is put to the test once more. Returns when the disk takes more by now.
  void RaiseWhyFull();

  /// Gives the file the permission bits of `mode`.
  void SetMode(unsigned mode);

  /// Brings the file to the disk and renames it to the destination. With `Existing::Keep` a
  /// destination that exists is left alone and WriteFailed is raised.
  void Commit(Existing existing);

 private:
  std::string destination_;  ///< as it was given
  std::string place_;        ///< the file itself
  std::string temporary_;
  int descriptor_ = -1;
  int folder_ = -1;  ///< once it is asked for
  bool committed_ = false;
};

}  // namespace Common
