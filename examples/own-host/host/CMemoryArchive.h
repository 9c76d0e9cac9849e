#pragma once

#include "host/CKorvaneArchive.h"

#include <cstdint>
#include <vector>

/// The application's own form of a stored token: the content as it stands behind its checksum.
class OIDCAUTH_HOST_API CMemoryArchive final : public CKorvaneArchive {
public:
    /// Open for writing, and for reading what was written.
    CMemoryArchive() = default;
    explicit CMemoryArchive(const std::vector<std::uint8_t>& bytes);

    /// Token records hold an ID token from 458 on.
    int fileVersion() const override { return 458; }

    void Close();
    std::vector<std::uint8_t> detachCompressedData();

private:
    std::vector<std::uint8_t> m_written;
};
