#include "host/CMemoryArchive.h"

#include <zlib.h>

#include <algorithm>
#include <array>

// The format: magic, checksum of everything after it, file version, unpacked size, zlib stream. The
// checksum covers the header, too, so that a damaged version or size is never used.

namespace {

constexpr std::array<std::uint8_t, 4> magic{'K', 'M', 'A', '1'};
constexpr std::size_t checksumOffset = magic.size();
constexpr std::size_t versionOffset = checksumOffset + 4;
constexpr std::size_t sizeOffset = versionOffset + 4;
constexpr std::size_t headerSize = sizeOffset + 4;

[[noreturn]] void refuse() {
    throw CArchiveException(CArchiveException::badSchema);
}

void writeNumber(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

std::uint32_t readNumber(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        value |= std::uint32_t{bytes[offset + i]} << (8 * i);
    }
    return value;
}

std::uint32_t checksum(const std::vector<std::uint8_t>& bytes) {
    const uLong crc = crc32_z(0, bytes.data() + versionOffset, bytes.size() - versionOffset);
    return static_cast<std::uint32_t>(crc);
}

/// Returns the bytes if they are a complete and undamaged archive of ours; all later accesses stay
/// within its bounds.
const std::vector<std::uint8_t>& checked(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() < headerSize || !std::equal(magic.begin(), magic.end(), bytes.begin()) ||
        readNumber(bytes, checksumOffset) != checksum(bytes) ||
        readNumber(bytes, sizeOffset) > CMemoryArchive::maxContent) {
        refuse();
    }
    return bytes;
}

std::vector<std::uint8_t> unpack(const std::vector<std::uint8_t>& bytes) {
    std::vector<std::uint8_t> content(readNumber(bytes, sizeOffset));
    auto contentSize = static_cast<uLongf>(content.size());
    auto packedSize = static_cast<uLong>(bytes.size() - headerSize);
    const uLong packedWhole = packedSize;
    const int status =
        uncompress2(content.data(), &contentSize, bytes.data() + headerSize, &packedSize);
    if (status != Z_OK || contentSize != content.size() || packedSize != packedWhole) {
        refuse();
    }
    return content;
}

}  // namespace

CMemoryArchive::CMemoryArchive(int fileVersion) : m_fileVersion(fileVersion) {}

CMemoryArchive::CMemoryArchive(const std::vector<std::uint8_t>& bytes)
    : m_fileVersion(static_cast<int>(readNumber(checked(bytes), versionOffset))) {
    replaceArchive(CArchive(unpack(bytes)));
}

void CMemoryArchive::Close() {
    if (archive().IsLoading() || !m_compressed.empty()) {
        return;
    }
    const std::vector<std::uint8_t>& content = archive().bytes();
    if (content.size() > maxContent) {
        refuse();
    }
    uLongf packedSize = compressBound(static_cast<uLong>(content.size()));
    std::vector<std::uint8_t> bytes(headerSize + packedSize);
    if (compress2(bytes.data() + headerSize, &packedSize, content.data(),
                  static_cast<uLong>(content.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
        throw CArchiveException(CArchiveException::genericException);
    }
    bytes.resize(headerSize + packedSize);
    std::copy(magic.begin(), magic.end(), bytes.begin());
    writeNumber(bytes, versionOffset, static_cast<std::uint32_t>(m_fileVersion));
    writeNumber(bytes, sizeOffset, static_cast<std::uint32_t>(content.size()));
    writeNumber(bytes, checksumOffset, checksum(bytes));
    m_compressed = std::move(bytes);
}

std::vector<std::uint8_t> CMemoryArchive::detachCompressedData() {
    return std::exchange(m_compressed, {});
}
