#include "tool/TokenSource.h"

#include "tool/Asking.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

namespace tool {

namespace {

using TimePoint = auth::COIDCToken::TimePoint;

}  // namespace

bool serves(const auth::COIDCToken& token, TokenKind kind, unsigned int minValidity) {
    const auto expiry = expiryOf(token, kind);
    return !expiry || *expiry - TimePoint::clock::now() > std::chrono::minutes(minValidity);
}

unsigned int beyondLifeOf(const auth::COIDCToken& token) {
    const auto left =
        std::chrono::ceil<std::chrono::minutes>(token.expiresAt() - TimePoint::clock::now());
    return static_cast<unsigned int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<std::int32_t>::max()));
}

auth::COIDCToken freshToken(TokenSource& source, TokenKind kind, unsigned int minValidity) {
    const auto get = [&source](unsigned int minutes) {
        return ask(source.url(), [&source, minutes](const auto& cancellation) {
            return source.request(minutes, cancellation);
        });
    };
    auth::COIDCToken token = get(minValidity);
    // The store only knows the access token's expiry.
    if (kind == TokenKind::id && source.wasStored() && !serves(token, kind, minValidity)) {
        token = get(beyondLifeOf(token));
    }
    if (!isBearerToken(textOf(token, kind))) {
        source.discard();
    }
    return token;
}

}  // namespace tool
