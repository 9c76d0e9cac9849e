#pragma once

#include "host/CKorvaneArchive.h"

#include <cstdint>
#include <vector>

/// The application's own format of a stored token: the content after its checksum.
class OIDCAUTH_HOST_API CMemoryArchive final : public CKorvaneArchive {
public:
    /// For writing, and for reading the written bytes.
    CMemoryArchive() = default;
    explicit CMemoryArchive(const std::vector<std::uint8_t>& bytes);

    /// Token records have an ID token from version 458 on.
    int fileVersion() const override { return 458; }

    void Close();
    std::vector<std::uint8_t> detachCompressedData();

private:
    std::vector<std::uint8_t> m_written;
};
