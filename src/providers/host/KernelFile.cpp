#include "providers/host/KernelFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "common/Descriptor.h"
#include "common/ErrorManager.h"

namespace Host {
namespace {

constexpr std::size_t kLongest = std::size_t{1} << 20U;

}  // namespace

KernelText ReadBytes(const std::filesystem::path& path) {
  const Common::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.IsOpen()) return {errno, {}};
  KernelText content;
  std::array<char, 4096> buffer = {};
  while (true) {
    const ssize_t count = read(file.Get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return {errno, {}};
    if (count == 0) return content;
    content.text.append(buffer.data(), static_cast<std::size_t>(count));
    if (content.text.size() > kLongest) return {EFBIG, {}};
  }
}

KernelText ReadText(const std::filesystem::path& path) {
  KernelText content = ReadBytes(path);
  content.text.resize(std::min(content.text.size(), content.text.find('\0')));
  if (content.text.ends_with('\n')) content.text.pop_back();
  return content;
}

std::string TextOrNothing(const std::filesystem::path& path) {
  KernelText content = ReadText(path);
  if (IsDenied(content.error)) RaiseUnread(path, content.error);
  return std::move(content.text);
}

int WriteBytes(const std::filesystem::path& path, std::string_view bytes) {
  // Not emptied on opening: a write that fails must leave an EFI variable as it was.
  const Common::Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (!file.IsOpen()) return errno;
  ssize_t written = 0;
  do {
    written = write(file.Get(), bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) return errno;
  if (static_cast<std::size_t>(written) != bytes.size()) return EIO;
  struct stat facts = {};
  // The files of sysfs have no size of their own, those of efivarfs the new one already.
  if (fstat(file.Get(), &facts) != 0 || facts.st_size <= written || facts.st_nlink == 0) return 0;
  return ftruncate(file.Get(), written) == 0 || errno == EINVAL || errno == EPERM ? 0 : errno;
}

std::vector<std::filesystem::path> FoldersIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> folders;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (std::filesystem::is_directory(entry->path(), unknown)) folders.push_back(entry->path());
  }
  if (IsDenied(error.value())) RaiseUnread(folder, error.value());
  std::ranges::sort(folders);
  return folders;
}

std::string Words(int error) {
  return std::generic_category().message(error);
}

bool IsDenied(int error) {
  return error == EACCES || error == EPERM;
}

void RaiseUnread(const std::filesystem::path& path, int error) {
  if (!IsDenied(error)) ErrorManager::Raise(ErrorManager::BadAnswer, path.string(), Words(error));
  const char* advice = geteuid() == 0 ? "" : "; only root may";
  ErrorManager::Raise(ErrorManager::NotPermitted, path.string(), Words(error) + advice);
}

}  // namespace Host
