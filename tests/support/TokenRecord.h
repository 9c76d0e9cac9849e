#pragma once

#include "auth/COIDCToken.h"
#include "host/CMemoryArchive.h"
#include "tests/support/Common.h"

namespace test {

/// A stored token record, written field by field without the token class.
struct TokenRecord {
    std::string accessToken = "access";
    std::string refreshToken = "refresh";
    std::chrono::system_clock::time_point expiresAt;
    std::string clientId = "client";
    std::vector<std::string> scopes;
    std::string idToken = "id";
    int fileVersion = 458;

    void writeTo(CKorvaneArchive& archive) const;
    std::vector<std::uint8_t> bytes() const;
    auth::COIDCToken token() const;
};

/// With these scopes and this life.
TokenRecord recordWith(std::vector<std::string> scopes, std::chrono::hours life = {});

auth::COIDCToken load(const std::vector<std::uint8_t>& bytes);
std::vector<std::uint8_t> store(auth::COIDCToken token);

}  // namespace test
