#pragma once

#include "host/CKorvaneArchive.h"

#include <cstdint>
#include <vector>

/// An archive in memory, compressed with zlib: the form of a stored token.
///
/// It refuses bytes that it did not write, with a CArchiveException of cause badSchema: a wrong
/// magic number or checksum, missing or surplus bytes, more than `maxContent` bytes of content.
///
/// \ingroup host
class OIDCAUTH_HOST_API CMemoryArchive final : public CKorvaneArchive {
public:
    /// The version that new archives record. Token records contain an ID token from 458 on.
    static constexpr int currentFileVersion = 458;
    /// In bytes. Far above any token; keeps a hostile record from claiming memory.
    static constexpr std::size_t maxContent = std::size_t{16} * 1024 * 1024;

    /// An archive that stores.
    explicit CMemoryArchive(int fileVersion = currentFileVersion);
    /// An archive that loads. Throws CArchiveException for bytes that it refuses.
    explicit CMemoryArchive(const std::vector<std::uint8_t>& bytes);

    int fileVersion() const override { return m_fileVersion; }

    /// Ends storing or loading. Call it before detachCompressedData(). Throws CArchiveException if
    /// the content is larger than `maxContent`, or cannot be compressed.
    void Close();

    /// Moves the compressed bytes out of a closed archive that stored. Returns none for any other
    /// archive, and none the second time.
    std::vector<std::uint8_t> detachCompressedData();

private:
    int m_fileVersion;
    std::vector<std::uint8_t> m_compressed;
};
