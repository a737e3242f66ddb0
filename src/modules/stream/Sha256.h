#pragma once

#include <array>
#include <span>

namespace Scf {

using Digest = std::array<unsigned char, 32>;

/// The SHA-256 of `bytes` (FIPS 180-4, 6.2).
[[nodiscard]] Digest Sha256(std::span<const unsigned char> bytes);

}  // namespace Scf
