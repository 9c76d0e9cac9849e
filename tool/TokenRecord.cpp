#include "tool/TokenRecord.h"

#include "host/CMemoryArchive.h"

#include <exception>

namespace tool {

std::optional<auth::COIDCToken> tokenIn(const std::vector<std::uint8_t>& bytes) {
    try {
        CMemoryArchive archive(bytes);
        auth::COIDCToken token;
        token.Serialize(archive);
        archive.Close();
        return token;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<auth::COIDCToken> storedToken(PlainStore& store) {
    std::vector<std::uint8_t> bytes;
    store.read(bytes, false);
    return bytes.empty() ? std::nullopt : tokenIn(bytes);
}

}  // namespace tool
