#pragma once

#include <openssl/sha.h>

#include <vector>

namespace Test {

using ByteList = std::vector<unsigned char>;

/// A stream file whose digest is right whatever was changed before it.
inline ByteList Sealed(ByteList bytes) {
  const std::size_t content = bytes.size() - SHA256_DIGEST_LENGTH;
  SHA256(bytes.data(), content, bytes.data() + content);
  return bytes;
}

}  // namespace Test
