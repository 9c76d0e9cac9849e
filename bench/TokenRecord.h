#pragma once

#include "auth/COIDCToken.h"
#include "host/CMemoryArchive.h"

#include <cstdint>
#include <vector>

namespace bench {

/// The stored form of a token without an ID token.
inline std::vector<std::uint8_t> tokenRecord(const CString& accessToken,
                                             const CString& refreshToken,
                                             auth::COIDCToken::TimePoint expiry,
                                             const CString& clientId,
                                             const std::vector<CString>& scopes) {
    CMemoryArchive record;
    record.startSection("OIDCToken", true);
    CArchive& fields = record.archive();
    fields << accessToken << refreshToken << std::int64_t{expiry.time_since_epoch().count()}
           << clientId << static_cast<std::int32_t>(scopes.size());
    for (const CString& scope : scopes) {
        fields << scope;
    }
    fields << CString();
    record.Close();
    return record.detachCompressedData();
}

}  // namespace bench
