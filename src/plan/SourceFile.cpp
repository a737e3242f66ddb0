#include "plan/SourceFile.h"

#include <openssl/evp.h>

#include <array>
#include <filesystem>
#include <vector>

#include "common/WholeFile.h"
#include "ini/IniDocument.h"
#include "plan/Failure.h"

namespace Planning {

SourceFile SourceOf(const std::string& path, const std::string& name) {
  const bool stays = name.empty() || name == path;
  return {stays ? path : name, stays ? std::filesystem::absolute(path).string() : "",
          Sha256OfFile(path)};
}

std::string Sha256(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw Failure(Failure::Kind::Failed, "no SHA-256 can be made");
  }
  std::string text;
  for (unsigned at = 0; at < length; ++at) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += kDigits[digest[at] >> 4U];
    text += kDigits[digest[at] & 0x0FU];
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
