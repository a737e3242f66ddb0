#include "common/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

}  // namespace

AtomicFile::AtomicFile(std::string destination) : destination_(std::move(destination)) {
  const std::size_t slash = destination_.rfind('/');
  const std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t extension = destination_.size() - name >= 4 ? destination_.size() - 4 : name;
  temporary_ =
      destination_.substr(0, name) + ".saverestore-XXXXXX" + destination_.substr(extension);
  const int suffixLength = static_cast<int>(destination_.size() - extension);
  descriptor_ = mkostemps(temporary_.data(), suffixLength, O_CLOEXEC);
  if (descriptor_ < 0) RaiseErrno(destination_, errno);
}

AtomicFile::~AtomicFile() {
  close(descriptor_);
  if (!committed_) unlink(temporary_.c_str());
}

void AtomicFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) RaiseErrno(destination_, errno);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void AtomicFile::SetMode(unsigned mode) {
  if (fchmod(descriptor_, static_cast<mode_t>(mode) & 07777U) != 0) {
    RaiseErrno(destination_, errno);
  }
}

void AtomicFile::Commit(Existing existing) {
  if (fsync(descriptor_) != 0) RaiseErrno(destination_, errno);
  const int result = existing == Existing::Replace
                         ? std::rename(temporary_.c_str(), destination_.c_str())
                         : RenameToFreeName(temporary_.c_str(), destination_.c_str());
  if (result != 0) RaiseErrno(destination_, errno);
  committed_ = true;
  SyncFolder(FolderOf(destination_));
}

}  // namespace Common
