#include "plan/SourceFile.h"

#include <filesystem>
#include <vector>

#include "common/WholeFile.h"
#include "ini/IniDocument.h"
#include "modules/stream/Sha256.h"

namespace Planning {

SourceFile SourceOf(const std::string& path, const std::string& name) {
  const bool stays = name.empty() || name == path;
  return {stays ? path : name, stays ? std::filesystem::absolute(path).string() : "",
          Sha256OfFile(path)};
}

std::string Sha256(std::string_view bytes) {
  std::string text;
  for (const unsigned char byte :
       Scf::Sha256({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()})) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

std::string Sha256OfFile(const std::string& path) {
  std::vector<char> bytes;
  const auto read = Common::ReadWholeFile(path.c_str(), IniDocument::kMaxBytes, bytes);
  if (read.status != Common::WholeFileResult::Status::Ok) return "";
  return Sha256({bytes.data(), bytes.size()});
}

}  // namespace Planning
