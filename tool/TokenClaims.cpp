#include "tool/TokenClaims.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <exception>

namespace tool {

namespace {

using utility::conversions::to_string_t;
using utility::conversions::to_utf8string;

/// RFC 4648, section 5, without padding.
std::string fromBase64Url(std::string text) {
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.append((4 - text.size() % 4) % 4, '=');
    const auto bytes = utility::conversions::from_base64(to_string_t(text));
    return {bytes.begin(), bytes.end()};
}

}  // namespace

web::json::value claimsOf(const CString& token) {
    const std::string text = token.toUtf8();
    const auto first = text.find('.');
    const auto second = text.find('.', first + 1);
    if (first == std::string::npos || second == std::string::npos) {
        return web::json::value::null();
    }
    try {
        const auto payload = fromBase64Url(text.substr(first + 1, second - first - 1));
        auto claims = web::json::value::parse(to_string_t(payload));
        return claims.is_object() ? claims : web::json::value::null();
    } catch (const std::exception&) {
        return web::json::value::null();
    }
}

std::optional<auth::COIDCToken::TimePoint> timeClaim(const web::json::value& claims,
                                                     const utility::string_t& name) {
    constexpr std::int64_t endOfYear9999 = 253'402'300'799;
    if (!claims.has_number_field(name)) {
        return std::nullopt;
    }
    const double seconds = claims.at(name).as_double();
    if (!(seconds >= 0 && seconds <= static_cast<double>(endOfYear9999))) {
        return std::nullopt;
    }
    return auth::COIDCToken::TimePoint(std::chrono::seconds(static_cast<std::int64_t>(seconds)));
}

std::string userOf(const auth::COIDCToken& token) {
    const auto claims = claimsOf(token.idToken());
    for (const auto* const name :
         {_XPLATSTR("preferred_username"), _XPLATSTR("email"), _XPLATSTR("sub")}) {
        if (claims.has_string_field(name)) {
            return to_utf8string(claims.at(name).as_string());
        }
    }
    return "(a user without a name)";
}

}  // namespace tool
