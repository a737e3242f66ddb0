#include "providers/machine/MachineStore.h"

#include <fcntl.h>
#include <sys/file.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "common/AtomicFile.h"
#include "common/ErrorManager.h"
#include "common/LocalTime.h"
#include "common/WholeFile.h"

namespace Machine {
namespace {

constexpr std::size_t kLargest = std::size_t{1} << 30U;

/// For faults of a file as a whole, which have no line.
[[noreturn]] void RaiseNoMachine(const std::string& path, const std::string& reason) {
  ErrorManager::Raise(ErrorManager::TargetMalformed, "machine", path, reason);
}

[[noreturn]] void RaiseCannotOpen(const std::string& path, int error) {
  if (error == ENOENT) ErrorManager::Raise(ErrorManager::TargetMissing, path);
  const std::string reason = std::generic_category().message(error);
  if (error == EACCES || error == EPERM) {
    ErrorManager::Raise(ErrorManager::NotPermitted, path, reason);
  }
  RaiseNoMachine(path, reason);
}

/// Holds the lock of a machine file. It is on the file itself, so whoever waits for it finds, once
/// it has it, that the name has gone to another file.
class WriteLock {
 public:
  WriteLock(int descriptor, const std::string& path) : descriptor_(descriptor) {
    constexpr std::chrono::milliseconds kPause{20};
    constexpr int kTries = 250;
    for (int tries = 0; flock(descriptor_, LOCK_EX | LOCK_NB) != 0; ++tries) {
      // A file system without locks leaves the comparison alone to notice another writer.
      if (errno != EWOULDBLOCK && errno != EINTR) return;
      if (tries == kTries) {
        ErrorManager::Raise(ErrorManager::WriteFailed, path,
                            "another process is writing it; nothing was written");
      }
      std::this_thread::sleep_for(kPause);
    }
  }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;
  ~WriteLock() { flock(descriptor_, LOCK_UN); }

 private:
  int descriptor_;
};

/// How people tell one state of a file from another.
std::string Words(const struct stat& facts) {
  const std::string seconds = Common::LocalTime(facts.st_mtim.tv_sec, "%Y-%m-%d %H:%M:%S");
  std::array<char, 128> text = {};
  std::snprintf(text.data(), text.size(), "%s.%03ld (inode %ju, %jd bytes)", seconds.c_str(),
                facts.st_mtim.tv_nsec / 1'000'000, static_cast<std::uintmax_t>(facts.st_ino),
                static_cast<std::intmax_t>(facts.st_size));
  return text.data();
}

bool IsSameState(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_size == other.st_size &&
         one.st_mtim.tv_sec == other.st_mtim.tv_sec && one.st_mtim.tv_nsec == other.st_mtim.tv_nsec;
}

}  // namespace

MachineStore::MachineStore(std::string path) : path_(std::move(path)) {}

MachineImage MachineStore::Load() {
  // Non-blocking: opening a FIFO must not wait for a writer before it can be refused.
  file_ =
      std::make_unique<Common::Descriptor>(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file_->IsOpen() || fstat(file_->Get(), &facts_) != 0) RaiseCannotOpen(path_, errno);
  if (S_ISDIR(facts_.st_mode)) RaiseNoMachine(path_, "it is a directory, not a machine file");
  std::vector<char> bytes;
  const Common::WholeFileResult result = Common::ReadWholeFile(file_->Get(), kLargest, bytes);
  if (result.status != Common::WholeFileResult::Status::Ok) RaiseNoMachine(path_, result.reason);
  if (bytes.empty()) RaiseNoMachine(path_, "it is empty");
  try {
    return ParseMachine({bytes.data(), bytes.size()});
  } catch (const MalformedMachine& fault) {
    ErrorManager::Raise(ErrorManager::TargetMalformed, path_, std::to_string(fault.line),
                        fault.what());
  }
}

void MachineStore::CheckUnchanged() const {
  struct stat now = {};
  const std::string read = "the one that was read is of " + Words(facts_);
  if (stat(path_.c_str(), &now) != 0) {
    ErrorManager::Raise(ErrorManager::WriteFailed, path_,
                        "it is gone; " + read + "; nothing was written");
  }
  if (IsSameState(facts_, now)) return;
  ErrorManager::Raise(ErrorManager::WriteFailed, path_,
                      "another process has changed it: " + read + ", the one there now of " +
                          Words(now) + "; nothing was written");
}

void MachineStore::Replace(const MachineImage& machine) {
  std::unique_ptr<Common::Descriptor> written;
  {
    const WriteLock lock(file_->Get(), path_);
    CheckUnchanged();
    Common::AtomicFile next(path_);
    written = std::make_unique<Common::Descriptor>(
        open(next.TemporaryPath().c_str(), O_RDONLY | O_CLOEXEC));
    next.Write(RenderMachine(machine));
    next.SetMode(facts_.st_mode);
    next.Commit(Common::AtomicFile::Existing::Replace);
  }
  file_ = std::move(written);
  if (fstat(file_->Get(), &facts_) != 0) facts_ = {};
}

MachineImage LoadMachine(const std::string& path) {
  return MachineStore(path).Load();
}

void StoreMachine(const MachineImage& machine, const std::string& path) {
  Common::AtomicFile file(path);
  file.Write(RenderMachine(machine));
  struct stat facts = {};
  if (stat(path.c_str(), &facts) == 0) file.SetMode(facts.st_mode);
  file.Commit(Common::AtomicFile::Existing::Replace);
}

}  // namespace Machine
