#pragma once

#include "testing/TestProvider.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace auth::testing::detail {

/// The authorization codes and refresh tokens that were issued, and whether they are still valid.
class Grants {
public:
    struct Redeemed {
        std::string clientId;
        std::string nonce;
        std::string scope;
        std::string refreshToken;
    };

    std::string issueCode(const CodeGrant& grant);
    std::string issueRefreshToken(const std::string& clientId, const std::string& scope);

    /// The tokens for a token request; empty if its code or refresh token is not valid for it.
    std::optional<Redeemed> redeemCode(const RecordedRequest& request);
    std::optional<Redeemed> redeemRefreshToken(const RecordedRequest& request);

private:
    // All refresh tokens that go back to one consent. Only the newest is valid. None is ("") once
    // an older one or the code has been used again, because somebody must have stolen it.
    struct Family {
        std::string clientId;
        std::string scope;
        std::string newest;
    };
    using FamilyPtr = std::shared_ptr<Family>;

    struct Code {
        CodeGrant grant;
        FamilyPtr redeemed;
    };

    std::string rotate(const FamilyPtr& family);

    std::map<std::string, Code> m_codes;
    std::map<std::string, FamilyPtr> m_refreshTokens;  // including the old ones
};

}  // namespace auth::testing::detail
