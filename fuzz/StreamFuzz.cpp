// Hostile stream files: as they come, with their lengths and checksums made right so that what lies
// behind them is reached, and as the payload of a block alone.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/Descriptor.h"
#include "common/ResultStatus.h"
#include "modules/save/SaveRestore.h"
#include "modules/save/StreamBlocks.h"
#include "modules/stream/ScfPayload.h"
#include "modules/stream/Sha256.h"
#include "modules/stream/StreamFile.h"

namespace {

using ByteList = std::vector<unsigned char>;

/// The module with the stream operations open. No server is mounted: a restore may look, queue and
/// fail, but there is nothing to write to.
class OpenModule : public SDK::SaveRestore {
 public:
  void TryRestore(const ByteList& bytes) {
    const Common::Descriptor file(memfd_create("stream.scf", MFD_CLOEXEC));
    if (write(file.Get(), bytes.data(), bytes.size()) < 0) return;
    const std::string path = "/proc/self/fd/" + std::to_string(file.Get());
    const unsigned char* buffer = nullptr;
    unsigned length = 0;
    if (ValidateStream(path.c_str(), buffer, length, true) != 0) return;
    Try([&] { RestoreBIOSConfigurationFromStream(buffer, length); });
    Try([&] { RestoreBootOrderFromStream(buffer, length); });
    for (const SDK::StreamBlock& block : SDK::kBmcStreamBlocks) {
      Try([&] { RestoreFWConfigurationFromStream(buffer, length, block.guid, block.target); });
    }
  }

 protected:
  void PrintSkip(const std::string& /*text*/) override {}

 private:
  template <typename Step>
  static void Try(Step step) {
    try {
      step();
    } catch (const ResultStatus&) {  // as any restore without a server
    }
  }
};

template <typename Read>
void TryRead(Read read) {
  try {
    read();
  } catch (const Scf::Damaged&) {  // what a reader says to nearly everything here
  }
}

/// The blocks of a file in which `bytes` is the payload of each.
ByteList AsFile(const ByteList& bytes) {
  std::vector<Scf::Block> blocks{{SDK::kSystemStreamBlock.guid, bytes},
                                 {SDK::kBiosStreamBlock.guid, bytes},
                                 {SDK::kBootOrderStreamBlock.guid, bytes}};
  for (const SDK::StreamBlock& block : SDK::kBmcStreamBlocks) blocks.push_back({block.guid, bytes});
  return Scf::Encode(blocks);
}

/// The same bytes with the right total length and digest.
ByteList Sealed(ByteList bytes) {
  constexpr std::size_t kTotalAt = 20;
  if (bytes.size() < Scf::kHeaderBytes + Scf::kDigestBytes) return bytes;
  for (std::size_t index = 0; index < 4; ++index) {
    bytes[kTotalAt + index] = static_cast<unsigned char>(bytes.size() >> (8 * index));
  }
  const std::size_t content = bytes.size() - Scf::kDigestBytes;
  std::ranges::copy(Scf::Sha256(Scf::Bytes(bytes).first(content)),
                    bytes.begin() + static_cast<long>(content));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteList bytes(data, data + size);
  TryRead([&] { static_cast<void>(Scf::DecodePayload(bytes)); });
  for (const ByteList& file : {bytes, Sealed(bytes), AsFile(bytes)}) {
    TryRead([&] { static_cast<void>(SDK::Stream::InTextOrder(SDK::Stream::Decode(file))); });
    OpenModule().TryRestore(file);
  }
  return 0;
}
