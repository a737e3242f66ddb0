#include "tool/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <vector>

#include "common/WholeFile.h"
#include "ini/IniDocument.h"
#include "plan/ConfigurationFile.h"
#include "tool/Destination.h"
#include "tool/ExitCodes.h"
#include "tool/InputFile.h"
#include "tool/terminal/StandardStreams.h"

namespace Tool {
namespace {

void CopyToStandardOutput(const std::string& path) {
  std::vector<char> bytes;
  const auto read = Common::ReadWholeFile(path.c_str(), IniDocument::kMaxBytes, bytes);
  if (read.status != Common::WholeFileResult::Status::Ok) {
    throw ToolError(ExitFailed, "the file for standard output is lost: " + read.reason);
  }
  errno = 0;
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() ||
      std::fflush(stdout) != 0) {
    RaiseUnwritten(errno);
  }
}

}  // namespace

void CheckHoldsPart(const std::string& given) {
  if (!Planning::IsStreamName(given)) return;
  throw ToolError(ExitUsage,
                  "a stream file holds all of a server; a part goes into a text file, .ini");
}

OutputFile::OutputFile(const std::string& given, bool overwrite)
    : overwrite_(overwrite), path_(given) {
  if (given == kStandardStream) {
    folder_ = std::make_unique<Planning::TransientFolder>();
    path_ = folder_->PathOf("standard-output.ini");
  } else {
    CheckDestination(given, overwrite);
  }
  file_ = std::make_unique<Common::AtomicFile>(path_);
}

void OutputFile::Commit() {
  using Existing = Common::AtomicFile::Existing;
  file_->Commit(overwrite_ ? Existing::Replace : Existing::Keep);
  if (folder_ != nullptr) CopyToStandardOutput(path_);
}

void OutputFile::Tell(const std::string& text, const Messages& messages) const {
  if (folder_ != nullptr) {
    messages.Note(text);
  } else {
    messages.Result(text);
  }
}

}  // namespace Tool
