#include "modules/save/RowSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "common/ErrorManager.h"
#include "ini/IniPrimitives.h"
#include "modules/save/FileHeader.h"

namespace SDK {
namespace {

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
  iniFileWriteDataString(file_, row.key.c_str(), row.value.c_str(), row.comment.c_str(), "");
}

IniFile::IniFile(const char* path, IniRowSink::SectionObserver observer)
    : file_(Create(path)), rows_(file_.get(), std::move(observer)) {
  std::fprintf(file_.get(), "%s\n", kFileHeader.data());
}

void IniFile::Finish() {
  const bool failed = std::ferror(file_.get()) != 0;
  if (std::fclose(file_.release()) != 0 || failed) {
    ErrorManager::Raise(ErrorManager::CannotWriteFile);
  }
}

}  // namespace SDK
