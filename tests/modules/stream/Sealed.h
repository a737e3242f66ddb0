#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "modules/stream/Sha256.h"

namespace Test {

using ByteList = std::vector<unsigned char>;

/// A stream file whose digest is right whatever was changed before it.
inline ByteList Sealed(ByteList bytes) {
  const std::span<unsigned char> place = std::span(bytes).last(Scf::Digest{}.size());
  const Scf::Digest digest = Scf::Sha256(std::span(bytes).first(bytes.size() - place.size()));
  std::ranges::copy(digest, place.begin());
  return bytes;
}

}  // namespace Test
