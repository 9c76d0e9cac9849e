#pragma once

#include "host/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// Names hash functions.
///
/// \ingroup host
class OIDCAUTH_HOST_API IHashFunction {
public:
    /// A hash function. The numbers are fixed.
    enum class Algorithm : int {
        SHA256 = 1  ///< SHA-256 (FIPS 180-4)
    };
};

/// Computes hashes. Safe for several threads.
///
/// \ingroup host
class OIDCAUTH_HOST_API CCryptoUtilities {
public:
    /// The size of a digest in bytes; 0 if this host lacks the algorithm.
    static std::size_t getDigestSize(IHashFunction::Algorithm algorithm) noexcept;

    /// Hashes `size` bytes at `data` into the beginning of `digest`, which must hold at least
    /// getDigestSize() bytes. Returns false if the algorithm is unknown, `digest` is too small, or
    /// hashing fails.
    static bool calcChecksum(IHashFunction::Algorithm algorithm, const void* data, std::size_t size,
                             std::vector<std::uint8_t>& digest) noexcept;
};
