#include "modules/stream/Sha256.h"

#include <nettle/sha2.h>

namespace Scf {

Digest Sha256(std::span<const unsigned char> bytes) {
  Digest digest = {};
  static_assert(digest.size() == SHA256_DIGEST_SIZE);
  sha256_ctx context = {};
  sha256_init(&context);
  sha256_update(&context, bytes.size(), bytes.data());
  sha256_digest(&context, digest.size(), digest.data());
  return digest;
}

}  // namespace Scf
