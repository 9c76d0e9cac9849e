#pragma once

#include "testing/TestProvider.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace auth::testing::detail {

/// Authorization codes and refresh tokens: what was given out, and what it is still good for.
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

    /// What a token request gets, without value if its code or refresh token is not good for it.
    std::optional<Redeemed> redeemCode(const RecordedRequest& request);
    std::optional<Redeemed> redeemRefreshToken(const RecordedRequest& request);

private:
    // All refresh tokens that go back to one consent. Only the newest is good, and none ("") once
    // an older one or the code was used again: then someone has stolen it.
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
    std::map<std::string, FamilyPtr> m_refreshTokens;  // the old ones, too
};

}  // namespace auth::testing::detail
