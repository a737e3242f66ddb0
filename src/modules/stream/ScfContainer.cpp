#include "modules/stream/ScfContainer.h"

#include <isa-l/crc.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "modules/stream/Sha256.h"

namespace Scf {
namespace {

// Offsets in the header and in a row of the table.
constexpr std::size_t kMajorAt = 8;
constexpr std::size_t kMinorAt = 10;
constexpr std::size_t kFlagsAt = 12;
constexpr std::size_t kCountAt = 16;
constexpr std::size_t kTotalAt = 20;
constexpr std::size_t kRowOffsetAt = 16;
constexpr std::size_t kRowLengthAt = 20;
constexpr std::size_t kRowCrcAt = 24;
constexpr std::size_t kRowReservedAt = 28;

template <typename Number>
void Put(std::vector<unsigned char>& bytes, std::size_t at, Number number) {
  for (std::size_t index = 0; index < sizeof number; ++index) {
    bytes[at + index] = static_cast<unsigned char>(number >> (8 * index));
  }
}

template <typename Number>
Number Get(Bytes bytes, std::size_t at) {
  Number number = 0;
  for (std::size_t index = sizeof number; index-- > 0;) {
    number = static_cast<Number>(number << 8U | bytes[at + index]);
  }
  return number;
}

/// The numbers of a GUID are written with their high bytes first.
std::array<unsigned char, 16> RegistryBytes(const EFI_GUID& guid) {
  std::array<unsigned char, 16> bytes = {};
  const auto high = [](auto number, unsigned byte) {
    return static_cast<unsigned char>(number >> (8 * byte));
  };
  for (unsigned index = 0; index < 4; ++index) bytes[index] = high(guid.Data1, 3 - index);
  for (unsigned index = 0; index < 2; ++index) {
    bytes[4 + index] = high(guid.Data2, 1 - index);
    bytes[6 + index] = high(guid.Data3, 1 - index);
  }
  std::ranges::copy(guid.Data4, bytes.begin() + 8);
  return bytes;
}

EFI_GUID GuidAt(Bytes bytes) {
  EFI_GUID guid = {};
  const auto number = [&](std::size_t at, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < count; ++index) value = value << 8U | bytes[at + index];
    return value;
  };
  guid.Data1 = number(0, 4);
  guid.Data2 = static_cast<std::uint16_t>(number(4, 2));
  guid.Data3 = static_cast<std::uint16_t>(number(6, 2));
  std::copy_n(bytes.begin() + 8, 8, guid.Data4);
  return guid;
}

/// CRC-32C (Castagnoli), as iSCSI has it (RFC 3720, 12.1).
std::uint32_t Crc32c(Bytes bytes) {
  constexpr std::uint32_t kAllOnes = 0xFFFFFFFF;
  // The library takes a pointer to what it only reads.
  auto* data = const_cast<unsigned char*>(bytes.data());  // NOLINT
  return crc32_iscsi(data, static_cast<int>(bytes.size()), kAllOnes) ^ kAllOnes;
}

void CheckHeader(Bytes bytes) {
  if (bytes.size() > kMaxBytes) throw Damaged("it is larger than 64 MiB");
  if (bytes.size() < kHeaderBytes + kDigestBytes ||
      !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
    throw Damaged("it is no stream file");
  }
  if (Get<std::uint16_t>(bytes, kMajorAt) != kMajorVersion) {
    throw Damaged("its version " + std::to_string(Get<std::uint16_t>(bytes, kMajorAt)) + "." +
                  std::to_string(Get<std::uint16_t>(bytes, kMinorAt)) +
                  " is not known to this version of the tool");
  }
  if (Get<std::uint32_t>(bytes, kFlagsAt) != 0) throw Damaged("it has flags that are not known");
  if (Get<std::uint32_t>(bytes, kTotalAt) != bytes.size()) {
    throw Damaged("it is " + std::to_string(bytes.size()) + " bytes long and should be " +
                  std::to_string(Get<std::uint32_t>(bytes, kTotalAt)));
  }
}

/// A block's payload, which has to lie between the table and the digest.
Block BlockAt(Bytes bytes, std::size_t row, std::size_t tableEnd) {
  const std::size_t offset = Get<std::uint32_t>(bytes, row + kRowOffsetAt);
  const std::size_t length = Get<std::uint32_t>(bytes, row + kRowLengthAt);
  const std::size_t end = bytes.size() - kDigestBytes;
  if (offset < tableEnd || offset > end || length > end - offset) {
    throw Damaged("a block lies outside of it");
  }
  if (Get<std::uint32_t>(bytes, row + kRowReservedAt) != 0) {
    throw Damaged("a block has flags that are not known");
  }
  const Block block{GuidAt(bytes.subspan(row, 16)), bytes.subspan(offset, length)};
  if (Crc32c(block.payload) != Get<std::uint32_t>(bytes, row + kRowCrcAt)) {
    throw Damaged("the checksum of a block is wrong");
  }
  return block;
}

void CheckDistinct(std::vector<Block> blocks) {
  for (auto block = blocks.begin(); block != blocks.end(); ++block) {
    if (std::find_if(blocks.begin(), block,
                     [&](const Block& other) { return other.guid == block->guid; }) != block) {
      throw Damaged("two blocks have one GUID");
    }
  }
  std::ranges::sort(blocks, {}, [](const Block& block) { return block.payload.data(); });
  for (std::size_t index = 1; index < blocks.size(); ++index) {
    const Bytes before = blocks[index - 1].payload;
    if (before.data() + before.size() > blocks[index].payload.data()) {
      throw Damaged("two blocks overlap");
    }
  }
}

}  // namespace

std::vector<unsigned char> Encode(std::span<const Block> blocks) {
  std::size_t total = kHeaderBytes + blocks.size() * kTableRowBytes + kDigestBytes;
  for (const Block& block : blocks) total += block.payload.size();
  if (total > kMaxBytes) throw Damaged("it is larger than 64 MiB");

  std::vector<unsigned char> bytes(total);
  std::ranges::copy(kMagic, bytes.begin());
  Put(bytes, kMajorAt, kMajorVersion);
  Put(bytes, kMinorAt, kMinorVersion);
  Put(bytes, kCountAt, static_cast<std::uint32_t>(blocks.size()));
  Put(bytes, kTotalAt, static_cast<std::uint32_t>(total));
  std::size_t row = kHeaderBytes;
  std::size_t offset = kHeaderBytes + blocks.size() * kTableRowBytes;
  for (const Block& block : blocks) {
    const auto place = [&](std::size_t at) { return bytes.begin() + static_cast<long>(at); };
    std::ranges::copy(RegistryBytes(block.guid), place(row));
    Put(bytes, row + kRowOffsetAt, static_cast<std::uint32_t>(offset));
    Put(bytes, row + kRowLengthAt, static_cast<std::uint32_t>(block.payload.size()));
    Put(bytes, row + kRowCrcAt, Crc32c(block.payload));
    std::ranges::copy(block.payload, place(offset));
    row += kTableRowBytes;
    offset += block.payload.size();
  }
  const Digest digest = Sha256(Bytes(bytes).first(offset));
  std::copy(digest.begin(), digest.end(), bytes.begin() + static_cast<long>(offset));
  return bytes;
}

std::vector<Block> Decode(Bytes bytes) {
  CheckHeader(bytes);
  const Bytes content = bytes.first(bytes.size() - kDigestBytes);
  if (!std::ranges::equal(Sha256(content), bytes.last(kDigestBytes))) {
    throw Damaged("its digest is wrong: it has been changed or damaged");
  }
  const std::size_t count = Get<std::uint32_t>(bytes, kCountAt);
  if (count > kMaxBlocks || count > (content.size() - kHeaderBytes) / kTableRowBytes) {
    throw Damaged("its table of blocks does not fit into it");
  }
  const std::size_t tableEnd = kHeaderBytes + count * kTableRowBytes;
  std::vector<Block> blocks;
  for (std::size_t row = kHeaderBytes; row < tableEnd; row += kTableRowBytes) {
    blocks.push_back(BlockAt(bytes, row, tableEnd));
  }
  CheckDistinct(blocks);
  return blocks;
}

}  // namespace Scf
