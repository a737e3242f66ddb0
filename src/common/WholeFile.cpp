#include "common/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "common/Descriptor.h"

namespace Common {
namespace {

using Status = WholeFileResult::Status;

WholeFileResult Failed() {
  return {Status::CannotRead, std::generic_category().message(errno)};
}

/// Reads to the end of the file, at most one byte more than `limit`. False on a read error.
bool ReadUpTo(int descriptor, std::size_t limit, std::size_t expected, std::vector<char>& bytes) {
  constexpr std::size_t kStep = std::size_t{64} * 1024;
  bytes.reserve(std::min(expected, limit) + kStep);  // room to meet the end without growing
  for (;;) {
    const std::size_t size = bytes.size();
    const std::size_t room = std::min(std::max(kStep, bytes.capacity() - size), limit + 1 - size);
    if (room == 0) return true;
    bytes.resize(size + room);
    const ssize_t got = read(descriptor, bytes.data() + size, room);
    bytes.resize(size + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got == 0) return true;
    if (got < 0 && errno != EINTR) return false;
  }
}

WholeFileResult Read(int descriptor, std::size_t limit, std::vector<char>& bytes) {
  struct stat facts = {};
  if (fstat(descriptor, &facts) != 0) return Failed();
  if (!S_ISREG(facts.st_mode)) return {Status::CannotRead, "Not a regular file"};
  if (!ReadUpTo(descriptor, limit, static_cast<std::size_t>(facts.st_size), bytes)) return Failed();
  if (bytes.size() > limit) return {Status::TooLarge, "Too large"};
  return {Status::Ok, ""};
}

}  // namespace

WholeFileResult ReadWholeFile(const char* path, std::size_t limit, std::vector<char>& bytes) {
  bytes.clear();
  // Non-blocking: opening a FIFO must not wait for a writer before it can be refused.
  const Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return file.IsOpen() ? ReadWholeFile(file.Get(), limit, bytes) : Failed();
}

WholeFileResult ReadWholeFile(int descriptor, std::size_t limit, std::vector<char>& bytes) {
  bytes.clear();
  WholeFileResult result = Read(descriptor, limit, bytes);
  if (result.status != Status::Ok) bytes.clear();
  return result;
}

}  // namespace Common
