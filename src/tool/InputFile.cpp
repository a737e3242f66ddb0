#include "tool/InputFile.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "common/AtomicFile.h"
#include "ini/IniDocument.h"
#include "modules/stream/ScfContainer.h"
#include "tool/ExitCodes.h"
#include "tool/terminal/Interrupt.h"

namespace Tool {
namespace {

std::string ReadStandardInput() {
  static bool isRead = false;
  if (isRead) throw ToolError(ExitUsage, "standard input can be read once only");
  isRead = true;
  std::string text;
  std::array<char, 65536> part = {};
  while (true) {
    const ssize_t count = read(STDIN_FILENO, part.data(), part.size());
    ThrowIfInterrupted();
    if (count == 0) return text;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      throw ToolError(ExitFailed,
                      "standard input cannot be read: " + std::generic_category().message(errno));
    }
    text.append(part.data(), static_cast<std::size_t>(count));
    if (text.size() > IniDocument::kMaxBytes) {
      throw ToolError(ExitBadInput, "standard input is larger than any configuration file");
    }
  }
}

bool IsStream(std::string_view bytes) {
  return bytes.size() >= Scf::kMagic.size() &&
         std::ranges::equal(bytes.substr(0, Scf::kMagic.size()), Scf::kMagic,
                            [](char byte, unsigned char magic) {
                              return static_cast<unsigned char>(byte) == magic;
                            });
}

}  // namespace

InputFile::InputFile(const std::string& given) : name_(given), path_(given) {
  if (given != kStandardStream) return;
  name_ = "standard input";
  const std::string text = ReadStandardInput();
  folder_ = std::make_unique<Planning::TransientFolder>();
  path_ = folder_->PathOf(IsStream(text) ? "standard-input.scf" : "standard-input.ini");
  Common::AtomicFile file(path_);
  file.Write(text);
  file.Commit(Common::AtomicFile::Existing::Keep);
}

}  // namespace Tool
