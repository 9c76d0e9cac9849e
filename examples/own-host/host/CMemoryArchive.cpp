#include "host/CMemoryArchive.h"

#include "host/CCryptoUtilities.h"

#include <algorithm>
#include <utility>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr auto sha256 = IHashFunction::Algorithm::SHA256;

Bytes checksum(const std::uint8_t* data, std::size_t size) {
    Bytes digest(CCryptoUtilities::getDigestSize(sha256));
    if (!CCryptoUtilities::calcChecksum(sha256, data, size, digest)) {
        throw CArchiveException(CArchiveException::genericException);
    }
    return digest;
}

/// Returns the content after the checksum, if that is right.
Bytes checked(const Bytes& bytes) {
    const std::size_t head = CCryptoUtilities::getDigestSize(sha256);
    if (bytes.size() < head) {
        throw CArchiveException(CArchiveException::badSchema);
    }
    const Bytes digest = checksum(bytes.data() + head, bytes.size() - head);
    if (!std::equal(digest.begin(), digest.end(), bytes.begin())) {
        throw CArchiveException(CArchiveException::badSchema);
    }
    return {bytes.begin() + static_cast<std::ptrdiff_t>(head), bytes.end()};
}

}  // namespace

CMemoryArchive::CMemoryArchive(const Bytes& bytes) {
    replaceArchive(CArchive(checked(bytes)));
}

void CMemoryArchive::Close() {
    if (archive().IsStoring() && m_written.empty()) {
        const Bytes& content = archive().bytes();
        m_written = checksum(content.data(), content.size());
        m_written.insert(m_written.end(), content.begin(), content.end());
    }
}

Bytes CMemoryArchive::detachCompressedData() {
    return std::exchange(m_written, {});
}
