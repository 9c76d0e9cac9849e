#pragma once

#include "host/CKorvaneArchive.h"

#include <cstdint>
#include <vector>

/// An archive over a memory buffer, compressed with zlib.
///
/// It refuses, with the cause badSchema, bytes that it did not write: a wrong magic number, a wrong
/// checksum, bytes missing or to spare, or a content of more than `maxContent` bytes.
class OIDCAUTH_HOST_API CMemoryArchive final : public CKorvaneArchive {
public:
    /// The version that new archives record. Token records hold an ID token from 458 on.
    static constexpr int currentFileVersion = 458;
    /// Far above any token; keeps a hostile record from claiming memory.
    static constexpr std::size_t maxContent = std::size_t{16} * 1024 * 1024;

    /// Open for writing.
    explicit CMemoryArchive(int fileVersion = currentFileVersion);
    /// Open for reading.
    explicit CMemoryArchive(const std::vector<std::uint8_t>& bytes);

    int fileVersion() const override { return m_fileVersion; }

    /// Ends writing or reading. A written archive gives its bytes only after this.
    void Close();

    /// The compressed bytes of a closed archive that was written; they are taken out of it.
    std::vector<std::uint8_t> detachCompressedData();

private:
    int m_fileVersion;
    std::vector<std::uint8_t> m_compressed;
};
