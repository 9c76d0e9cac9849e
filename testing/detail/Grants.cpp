#include "testing/detail/Grants.h"

#include "testing/detail/Text.h"

#include <openssl/sha.h>

#include <array>

namespace auth::testing::detail {
namespace {

// RFC 7636, sections 4.1 and 4.6.
bool proves(const std::string& verifier, const std::string& challenge) {
    constexpr const auto* allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    if (verifier.size() < 43 || verifier.size() > 128 ||
        verifier.find_first_not_of(allowed) != std::string::npos) {
        return false;
    }
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(), digest.data());
    return base64url({reinterpret_cast<const char*>(digest.data()), digest.size()}) == challenge;
}

}  // namespace

std::string Grants::issueCode(const CodeGrant& grant) {
    auto code = unique("code");
    m_codes.emplace(code, Code{grant, nullptr});
    return code;
}

std::string Grants::issueRefreshToken(const std::string& clientId, const std::string& scope) {
    return rotate(std::make_shared<Family>(Family{clientId, scope, ""}));
}

std::string Grants::rotate(const FamilyPtr& family) {
    family->newest = unique("refresh");
    m_refreshTokens.emplace(family->newest, family);
    return family->newest;
}

std::optional<Grants::Redeemed> Grants::redeemCode(const RecordedRequest& request) {
    const auto found = m_codes.find(request.field("code"));
    if (found == m_codes.end()) {
        return std::nullopt;
    }
    auto& [grant, family] = found->second;
    if (family) {
        family->newest.clear();
        return std::nullopt;
    }
    if (request.client().first != grant.clientId ||
        request.field("redirect_uri") != grant.redirectUri ||
        !(grant.codeChallenge.empty() ||
          proves(request.field("code_verifier"), grant.codeChallenge))) {
        return std::nullopt;
    }
    family = std::make_shared<Family>(Family{grant.clientId, grant.scope, ""});
    return Redeemed{grant.clientId, grant.nonce, grant.scope, rotate(family)};
}

std::optional<Grants::Redeemed> Grants::redeemRefreshToken(const RecordedRequest& request) {
    const auto token = request.field("refresh_token");
    const auto found = m_refreshTokens.find(token);
    if (found == m_refreshTokens.end() || found->second->clientId != request.client().first) {
        return std::nullopt;
    }
    const FamilyPtr family = found->second;
    if (family->newest != token) {
        family->newest.clear();
        return std::nullopt;
    }
    // Without a nonce: that belonged to the sign-in (OpenID Connect Core, section 12.2).
    return Redeemed{family->clientId, "", family->scope, rotate(family)};
}

}  // namespace auth::testing::detail
