#pragma once

#include "host/Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class OIDCAUTH_HOST_API IHashFunction {
public:
    /// The numbers are fixed.
    enum class Algorithm : int { SHA256 = 1 };
};

class OIDCAUTH_HOST_API CCryptoUtilities {
public:
    /// Digest size in bytes; 0 for an algorithm that this host does not have.
    static std::size_t getDigestSize(IHashFunction::Algorithm algorithm) noexcept;

    /// Hashes `size` bytes at `data` into `digest`, which holds getDigestSize() bytes. False when
    /// the algorithm is unknown, the digest is too small, or hashing failed.
    static bool calcChecksum(IHashFunction::Algorithm algorithm, const void* data, std::size_t size,
                             std::vector<std::uint8_t>& digest) noexcept;
};
