#include "auth/detail/Claims.h"

#include <cpprest/asyncrt_utils.h>

#include <algorithm>
#include <exception>
#include <string>

namespace auth::detail {

namespace {

using utility::conversions::to_string_t;

/// RFC 4648, section 5, without padding.
std::string fromBase64Url(std::string text) {
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.append((4 - text.size() % 4) % 4, '=');
    const auto bytes = utility::conversions::from_base64(to_string_t(text));
    return {bytes.begin(), bytes.end()};
}

}  // namespace

web::json::value claimsOf(const CString& jwt) {
    try {
        const std::string text = jwt.toUtf8();
        const auto first = text.find('.');
        const auto second = text.find('.', first + 1);
        if (first != std::string::npos && second != std::string::npos) {
            const auto payload = fromBase64Url(text.substr(first + 1, second - first - 1));
            auto claims = web::json::value::parse(to_string_t(payload));
            return claims.is_object() ? claims : web::json::value::null();
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): no claims
    }
    return web::json::value::null();
}

}  // namespace auth::detail
