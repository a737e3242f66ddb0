#include "modules/save/RowSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "common/ErrorManager.h"
#include "ini/IniPrimitives.h"
#include "modules/save/FileHeader.h"

namespace SDK {
namespace {

/// A large file costs a call of the kernel for each of these.
constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;

/// \throws ResultStatus  1041.
FILE* Create(const char* path) {
  constexpr unsigned kOwnerOnly = 0600;
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kOwnerOnly);
  FILE* file = descriptor < 0 ? nullptr : fdopen(descriptor, "w");
  if (file != nullptr) return file;
  if (descriptor >= 0) close(descriptor);
  ErrorManager::Raise(ErrorManager::CannotWriteFile);
}

}  // namespace

IniRowSink::IniRowSink(FILE* file, SectionObserver observer)
    : file_(file), observer_(std::move(observer)) {}

void IniRowSink::BeginSection(const std::string& name) {
  if (observer_) observer_(name);
  iniFileWriteSection(file_, name.c_str());
}

void IniRowSink::Write(const Row& row) {
  if (row.comment != comment_) {  // many rows have that of the one before
    comment_ = row.comment;
    commentText_ = Ini::CommentText(comment_);
  }
  line_.clear();
  Ini::AppendKeyLine(line_, row.key, row.value, commentText_);
  std::fwrite(line_.data(), 1, line_.size(), file_);
}

IniFile::IniFile(const char* path, IniRowSink::SectionObserver observer)
    : buffer_(kBufferBytes), file_(Create(path)), rows_(file_.get(), std::move(observer)) {
  std::setvbuf(file_.get(), buffer_.data(), _IOFBF, buffer_.size());
  std::fprintf(file_.get(), "%s\n", kFileHeader.data());
}

void IniFile::Finish() {
  const bool failed = std::ferror(file_.get()) != 0;
  if (std::fclose(file_.release()) != 0 || failed) {
    ErrorManager::Raise(ErrorManager::CannotWriteFile);
  }
}

}  // namespace SDK
