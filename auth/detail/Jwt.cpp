#include "auth/detail/Jwt.h"

#include "auth/detail/Clock.h"
#include "auth/detail/ProviderWords.h"

#include <cpprest/asyncrt_utils.h>

#include <stdexcept>

namespace auth::detail {

namespace {

using utility::conversions::to_utf8string;

constexpr int longestToken = 65'536;
constexpr std::size_t mostNames = 64;

/// Adapts the library's clock to the JWT library.
struct JwtClock {
    jwt::date now() const { return detail::now(); }
};

std::string textOf(const web::json::value& jwk, const utility::char_t* name) {
    return to_utf8string(jwk.at(name).as_string());
}

}  // namespace

DecodedJwt decodeJwt(const CString& text) {
    if (text.GetLength() > longestToken) {
        throw std::invalid_argument("invalid token supplied");
    }
    return jwt::decode(text.toUtf8());
}

std::optional<std::string> publicKeyText(const web::json::value& jwk, const LoggerPtr& logger) {
    if (jwk.has_string_field(_XPLATSTR("x5c"))) {
        // An "x5c" that is an array, as in RFC 7517, does not get here: such a key is used by its
        // RSA components.
        const web::json::array& chain = jwk.at(_XPLATSTR("x5c")).as_array();
        if (chain.size() == 0) {
            log(logger, ELogLevel::Error, L"Signature is missing (x5c is empty).");
            return std::nullopt;
        }
        return "-----BEGIN CERTIFICATE-----\n" +
               to_utf8string(chain.at(chain.size() - 1).as_string()) +
               "\n-----END CERTIFICATE-----";
    }
    if (jwk.has_string_field(_XPLATSTR("e")) && jwk.has_string_field(_XPLATSTR("n"))) {
        return jwt::helper::create_public_key_from_rsa_components(textOf(jwk, _XPLATSTR("n")),
                                                                  textOf(jwk, _XPLATSTR("e")));
    }
    log(logger, ELogLevel::Error, L"Fields, required to check jwt signature are missing.");
    return std::nullopt;
}

void verifyJwt(const DecodedJwt& token, const jwt::algorithm::rs256& key,
               std::chrono::seconds issueLeeway) {
    auto verifier =
        jwt::verify<JwtClock, jwt::traits::kazuho_picojson>(JwtClock()).allow_algorithm(key);
    if (token.has_issued_at()) {
        // This makes the claim mandatory and an integer, so it must not be set for a token without
        // one.
        verifier.issued_at_leeway(static_cast<std::size_t>(issueLeeway.count()));
    }
    verifier.verify(token);
}

Error refusal(const char* text, const DecodedJwt& token, const std::string& missedClaim) {
    Error::Details details;
    details.missedClaim = missedClaim;
    for (const auto& claim : token.get_payload_json()) {
        if (details.claims.size() < mostNames) {
            details.claims.push_back(showable(claim.first));
        }
    }
    return {Kind::tokenRefused, text, details};
}

}  // namespace auth::detail
