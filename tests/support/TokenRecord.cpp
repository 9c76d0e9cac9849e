#include "tests/support/TokenRecord.h"

namespace test {

void TokenRecord::writeTo(CKorvaneArchive& archive) const {
    using Ticks = auth::COIDCToken::TimePoint::duration;
    archive.startSection("OIDCToken", true);
    CArchive& base = archive.archive();
    base << CString(accessToken) << CString(refreshToken);
    base << std::int64_t{std::chrono::duration_cast<Ticks>(expiresAt.time_since_epoch()).count()};
    base << CString(clientId) << static_cast<std::int32_t>(scopes.size());
    for (const std::string& scope : scopes) {
        base << CString(scope);
    }
    if (fileVersion > 457) {
        base << CString(idToken);
    }
}

std::vector<std::uint8_t> TokenRecord::bytes() const {
    CMemoryArchive archive(fileVersion);
    writeTo(archive);
    archive.Close();
    return archive.detachCompressedData();
}

auth::COIDCToken TokenRecord::token() const {
    return load(bytes());
}

TokenRecord recordWith(std::vector<std::string> scopes, std::chrono::hours life) {
    TokenRecord record;
    record.scopes = std::move(scopes);
    record.expiresAt = std::chrono::system_clock::now() + life;
    return record;
}

auth::COIDCToken load(const std::vector<std::uint8_t>& bytes) {
    CMemoryArchive archive(bytes);
    auth::COIDCToken token;
    token.Serialize(archive);
    return token;
}

std::vector<std::uint8_t> store(auth::COIDCToken token) {
    CMemoryArchive archive;
    token.Serialize(archive);
    archive.Close();
    return archive.detachCompressedData();
}

}  // namespace test
