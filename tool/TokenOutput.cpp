#include "tool/TokenOutput.h"

#include "tool/Output.h"
#include "tool/TokenClaims.h"

#include <cpprest/json.h>

#include <stdexcept>

namespace tool {

bool isBearerToken(const std::string& token) {
    const auto end = token.find_first_not_of(
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~+/");
    return end != 0 && !token.empty() &&
           (end == std::string::npos || token.find_first_not_of('=', end) == std::string::npos);
}

void printToken(auth::COIDCToken token, TokenKind kind, bool json) {
    const bool isAccess = kind == TokenKind::access;
    const std::string text = (isAccess ? token.accessToken() : token.idToken()).toUtf8();
    if (!isBearerToken(text)) {
        throw std::runtime_error(
            "the token is empty, or holds characters that no bearer token can hold");
    }
    if (!json) {
        print(text);
        return;
    }
    auto object = web::json::value::object(true);
    object[isAccess ? _XPLATSTR("access_token") : _XPLATSTR("id_token")] = jsonText(text);
    // An ID token has an expiry of its own, which may come before or after the access token's.
    const auto expiry =
        isAccess ? token.expiresAt() : timeClaim(claimsOf(token.idToken()), _XPLATSTR("exp"));
    object[_XPLATSTR("expires_at")] = expiry ? jsonText(timestamp(*expiry)) : web::json::value();
    object[_XPLATSTR("scopes")] = jsonList(token.scopes());
    print(object);
}

}  // namespace tool
