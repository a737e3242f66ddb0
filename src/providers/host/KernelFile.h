#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Files through which the kernel shows and takes values: sysfs and efivarfs. Such a file is read
/// whole and written in one call, and the call's error is the firmware's answer.
namespace Host {

/// A file's content, or why there is none.
struct KernelText {
  int error = 0;  ///< an errno; 0 when `text` is the content
  std::string text;
};

/// Reads a file of at most 1 MiB as it is. A larger one is EFBIG.
[[nodiscard]] KernelText ReadBytes(const std::filesystem::path& path);

/// Reads a text: as `ReadBytes`, up to the first NUL byte and without the line end behind it.
[[nodiscard]] KernelText ReadText(const std::filesystem::path& path);

/// The same for a value that is either there or not: a missing file, and one that the kernel has no
/// value for, is an empty text. \throws ResultStatus  NotPermitted.
[[nodiscard]] std::string TextOrNothing(const std::filesystem::path& path);

/// Writes `bytes` into an existing file in one call. Where the file system keeps what stood behind
/// them, it is cut off. \return 0 or an errno
[[nodiscard]] int WriteBytes(const std::filesystem::path& path, std::string_view bytes);

/// `WriteBytes`, or what a rehearsal puts in its place.
using KernelWriter = std::function<int(const std::filesystem::path& path, std::string_view bytes)>;

/// The folders in `folder`, in byte order of their names. One that is missing has none.
/// \throws ResultStatus  NotPermitted.
[[nodiscard]] std::vector<std::filesystem::path> FoldersIn(const std::filesystem::path& folder);

/// An errno in words.
[[nodiscard]] std::string Words(int error);

/// True for the errors with which the kernel keeps a user out.
[[nodiscard]] bool IsDenied(int error);

/// Raises what a failed access to `path` is: NotPermitted, or BadAnswer.
[[noreturn]] void RaiseUnread(const std::filesystem::path& path, int error);

}  // namespace Host
