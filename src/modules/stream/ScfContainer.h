#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "modules/save/EfiGuid.h"

/// The frame of a stream file (.scf): a header, a table of blocks, the blocks, and a digest of all
/// of it. docs/scf-format.md describes every byte. All numbers are little-endian; a GUID has its
/// bytes in the order of the registry notation.
namespace Scf {

using Bytes = std::span<const unsigned char>;

inline constexpr std::array<unsigned char, 8> kMagic = {'S', 'R', 'S', 'C', 'F', '\r', '\n', 0x1A};
inline constexpr std::uint16_t kMajorVersion = 1;  ///< of a form that older readers misread
inline constexpr std::uint16_t kMinorVersion = 0;  ///< of one that they read all the same
inline constexpr std::size_t kHeaderBytes = 24;
inline constexpr std::size_t kTableRowBytes = 32;
inline constexpr std::size_t kDigestBytes = 32;

/// Larger files are refused, as text files are, and those with more blocks.
inline constexpr std::size_t kMaxBytes = std::size_t{64} * 1024 * 1024;
inline constexpr std::size_t kMaxBlocks = 256;

/// Why bytes are no stream file; `what` is a part of a sentence.
class Damaged : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A block with its payload, which belongs to somebody else.
struct Block {
  EFI_GUID guid;
  Bytes payload;
};

/// The bytes of a stream file with these blocks, in this order. \throws Damaged  over 64 MiB.
[[nodiscard]] std::vector<unsigned char> Encode(std::span<const Block> blocks);

/// The blocks of the stream file `bytes`, which they point into. Checks everything but what is in
/// them: magic, version, flags, lengths, that no two overlap or have one GUID, the CRC of each, and
/// the digest. \throws Damaged
[[nodiscard]] std::vector<Block> Decode(Bytes bytes);

}  // namespace Scf
