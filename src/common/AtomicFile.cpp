#include "common/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "common/Descriptor.h"
#include "common/ErrorManager.h"

namespace Common {
namespace {

[[noreturn]] void RaiseErrno(const std::string& path, int error) {
  const std::string reason = std::generic_category().message(error);
  if (error == EACCES || error == EPERM || error == EROFS) {
    ErrorManager::Raise(ErrorManager::NotPermitted, path, reason);
  }
  ErrorManager::Raise(ErrorManager::WriteFailed, path, reason);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// A rename is on the disk only when its folder is. Not every file system lets a folder be synced;
/// the rename has happened all the same, so this reports nothing.
void SyncFolder(const std::string& folder) {
  const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.IsOpen()) fsync(descriptor.Get());
}

/// The file that a symbolic link leads to; `path` itself when it is none.
std::string FileBehind(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_symlink(path, error)) return path;
  const std::filesystem::path file = std::filesystem::weakly_canonical(path, error);
  return error ? path : file.string();
}

/// Renames without ever replacing what somebody has created in the meantime, where the file system
/// can promise that; elsewhere with a test just before.
int RenameToFreeName(const char* from, const char* to) {
  const int result = renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
  if (result == 0 || (errno != EINVAL && errno != ENOSYS)) return result;
  if (access(to, F_OK) == 0) {
    errno = EEXIST;
    return -1;
  }
  return std::rename(from, to);
}

/// What the temporary files of a destination are called: ".NAME.saverestore-XXXXXX.EXT".
struct Names {
  std::string folder;  ///< with its "/"; empty for the working directory
  std::string prefix;
  std::string extension;  ///< the last four characters of a name of more

  /// For the file `place`, which a person calls `destination`.
  Names(const std::string& place, const std::string& destination) {
    constexpr std::size_t kLongestStem = 200;  // leaves room in the 255 bytes of a name
    const std::size_t slash = place.rfind('/');
    folder = slash == std::string::npos ? "" : place.substr(0, slash + 1);
    const std::string called = destination.substr(destination.rfind('/') + 1);
    extension = called.substr(called.size() - std::min<std::size_t>(called.size(), 4));
    const std::string name = place.substr(folder.size());
    const std::size_t dot = std::min(name.rfind('.'), name.size());
    prefix = "." + name.substr(0, std::min(dot, kLongestStem)) + ".saverestore-";
  }

  [[nodiscard]] bool IsTemporary(const std::string& name) const {
    constexpr std::size_t kRandom = 6;
    return name.size() == prefix.size() + kRandom + extension.size() && name.starts_with(prefix) &&
           name.ends_with(extension);
  }
};

/// Holds the file until it is closed. False when another process holds it, or has just removed it.
bool IsLocked(int descriptor) {
  struct stat facts = {};
  return flock(descriptor, LOCK_EX | LOCK_NB) == 0 && fstat(descriptor, &facts) == 0 &&
         facts.st_nlink > 0;
}

/// Removes what a process that was killed has left. One that is at work holds its file; what cannot
/// be removed harms nobody.
void RemoveLeftovers(const Names& names) {
  std::error_code error;
  std::filesystem::directory_iterator file(names.folder.empty() ? "." : names.folder, error);
  for (; !error && file != std::filesystem::directory_iterator(); file.increment(error)) {
    const std::string path = file->path().string();
    if (!names.IsTemporary(file->path().filename().string())) continue;
    const Descriptor left(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (left.IsOpen() && IsLocked(left.Get())) unlink(path.c_str());
  }
}

}  // namespace

AtomicFile::AtomicFile(std::string destination)
    : destination_(std::move(destination)), place_(FileBehind(destination_)) {
  const Names names(place_, destination_);
  RemoveLeftovers(names);
  // Another process may take the new file for one that was left, until this one has locked it.
  do {
    if (descriptor_ >= 0) close(descriptor_);
    temporary_ = names.folder + names.prefix + "XXXXXX" + names.extension;
    descriptor_ = mkostemps(temporary_.data(), static_cast<int>(names.extension.size()), O_CLOEXEC);
    if (descriptor_ < 0) RaiseErrno(destination_, errno);
  } while (!IsLocked(descriptor_));
}

AtomicFile::~AtomicFile() {
  close(descriptor_);
  if (folder_ >= 0) close(folder_);
  if (!committed_) unlink(temporary_.c_str());
}

std::string AtomicFile::TemporaryPathWithin(std::size_t longest) {
  if (temporary_.size() <= longest) return temporary_;
  if (folder_ < 0) folder_ = open(FolderOf(temporary_).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (folder_ < 0) RaiseErrno(destination_, errno);
  return "/proc/self/fd/" + std::to_string(folder_) + temporary_.substr(temporary_.rfind('/'));
}

void AtomicFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) RaiseErrno(destination_, errno);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void AtomicFile::RaiseWhyFull() {
  constexpr std::size_t kTrial = std::size_t{1} << 20;
  if (lseek(descriptor_, 0, SEEK_END) < 0) RaiseErrno(destination_, errno);
  Write(std::string(kTrial, '\0'));
}

void AtomicFile::SetMode(unsigned mode) {
  if (fchmod(descriptor_, static_cast<mode_t>(mode) & 07777U) != 0) {
    RaiseErrno(destination_, errno);
  }
}

void AtomicFile::Commit(Existing existing) {
  if (fsync(descriptor_) != 0) RaiseErrno(destination_, errno);
  const int result = existing == Existing::Replace
                         ? std::rename(temporary_.c_str(), place_.c_str())
                         : RenameToFreeName(temporary_.c_str(), place_.c_str());
  if (result != 0) RaiseErrno(destination_, errno);
  committed_ = true;
  SyncFolder(FolderOf(place_));
}

}  // namespace Common
