#include "auth/COIDCToken.h"
#include "fuzz/Documented.h"
#include "fuzz/Require.h"
#include "host/CMemoryArchive.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <vector>

// An input that begins with the magic number is a record, which is tried unchanged and with a
// corrected checksum. Any other input is a file version and a content, which are packed: an
// attacker with access to the store could write that, but a mutation hardly ever does.

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view magic = "KMA1";
constexpr std::size_t numberSize = 4;
constexpr std::size_t checksumOffset = magic.size();
constexpr std::size_t versionOffset = checksumOffset + numberSize;
constexpr std::size_t headerSize = versionOffset + 2 * numberSize;

void writeNumber(Bytes& bytes, std::size_t offset, std::size_t value) {
    for (std::size_t i = 0; i < numberSize; ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

Bytes withChecksum(Bytes record) {
    const uLong sum = crc32_z(0, record.data() + versionOffset, record.size() - versionOffset);
    writeNumber(record, checksumOffset, sum);
    return record;
}

Bytes packed(const Bytes& versionAndContent) {
    const std::size_t size = versionAndContent.size() - numberSize;
    uLongf packedSize = compressBound(static_cast<uLong>(size));
    Bytes record(headerSize + packedSize);
    compress2(record.data() + headerSize, &packedSize, versionAndContent.data() + numberSize,
              static_cast<uLong>(size), Z_BEST_SPEED);
    record.resize(headerSize + packedSize);
    std::copy(magic.begin(), magic.end(), record.begin());
    std::copy_n(versionAndContent.begin(), numberSize, record.begin() + versionOffset);
    writeNumber(record, versionOffset + numberSize, size);
    return withChecksum(std::move(record));
}

auth::COIDCToken load(const Bytes& record) {
    CMemoryArchive archive(record);
    auth::COIDCToken token;
    token.Serialize(archive);
    return token;
}

Bytes store(auth::COIDCToken token) {
    CMemoryArchive archive;
    token.Serialize(archive);
    archive.Close();
    return archive.detachCompressedData();
}

/// A record that loads can be used, and storing it again gives the same token.
void check(auth::COIDCToken token) {
    for (const unsigned int lead : {0U, 1U << 31U, std::numeric_limits<unsigned int>::max()}) {
        token.willBeExpiredAfter(lead);
    }
    token.validateScopes(token.scopes());
    const Bytes stored = store(token);
    auth::COIDCToken again = load(stored);
    const bool equal = again.accessToken() == token.accessToken() &&
                       again.refreshToken() == token.refreshToken() &&
                       again.idToken() == token.idToken() && again.clientId() == token.clientId() &&
                       again.expiresAt() == token.expiresAt() && again.scopes() == token.scopes();
    fuzz::require(equal && store(again) == stored);
}

void tryRecord(const Bytes& record) {
    auth::COIDCToken token;
    if (fuzz::completes<CArchiveException, std::range_error>([&] { token = load(record); })) {
        check(token);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    const bool isRecord = size >= magic.size() && std::equal(magic.begin(), magic.end(), data);
    if (isRecord || size < numberSize) {
        tryRecord(input);
    }
    if (isRecord && size >= headerSize) {
        tryRecord(withChecksum(input));
    } else if (!isRecord && size >= numberSize) {
        tryRecord(packed(input));
    }
    return 0;
}
