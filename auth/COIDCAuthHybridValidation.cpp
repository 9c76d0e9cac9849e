// The checks whether a token was issued by this provider, for this client, and is valid now.

#include "auth/COIDCAuthHybrid.h"
#include "auth/detail/Clock.h"

#include <cpprest/asyncrt_utils.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <optional>
#include <string>
#include <typeinfo>

namespace auth {

using detail::DecodedJwt;
using detail::ELogLevel;

namespace {

// A difference of this size, rounded up, cannot be a clock that is only slightly wrong.
constexpr std::chrono::seconds refusedIssueSkew{5};

bool isCurrent(const DecodedJwt& token) {
    return token.has_expires_at() && detail::now() <= token.get_expires_at();
}

bool refusedFor(std::string* missed, const char* claim) {
    if (missed != nullptr) {
        *missed = claim;
    }
    return false;
}

}  // namespace

bool COIDCAuthHybrid::validateJwt(const DecodedJwt& token, std::string* missed) const {
    detail::log(m_logger, ELogLevel::Flow, L"Validating JWT...");
    std::chrono::seconds issueSkew{0};
    const jwt::date now = detail::now();
    if (token.has_issued_at() && token.get_issued_at() > now) {
        detail::log(m_logger, ELogLevel::Warning, L"Received 'issue time' is in future.");
        issueSkew = std::chrono::ceil<std::chrono::seconds>(token.get_issued_at() - now);
        if (issueSkew >= refusedIssueSkew) {
            return refuse(missed, "iat",
                          L"Received 'issue time' is not within the specified bounds in future.");
        }
    }
    if (token.get_algorithm() != "RS256") {
        return refuse(missed, "alg", L"Algorithm is invalid/not supported.");
    }
    const auto key = findSigningKey(token);
    if (key == m_signingKeys.end()) {
        return refuse(missed, "kid", L"Unable to recognize key id.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Checking signature...");
    const jwt::algorithm::rs256* const algorithm = publicKey(key);
    if (algorithm == nullptr) {  // the log says why
        return refusedFor(missed, "kid");
    }
    detail::verifyJwt(token, *algorithm, issueSkew);
    detail::log(m_logger, ELogLevel::Flow, L"JWT validated successfully.");
    return true;
}

COIDCAuthHybrid::SigningKeys::const_iterator COIDCAuthHybrid::findSigningKey(
    const DecodedJwt& token) const {
    return std::find_if(
        m_signingKeys.begin(), m_signingKeys.end(), [&token](const web::json::value& key) {
            const std::string id = token.get_key_id();
            return utility::conversions::to_utf8string(key.at(_XPLATSTR("kid")).as_string()) == id;
        });
}

/// Returns null, and logs, for a key that cannot be used. The result lives as long as this object.
const jwt::algorithm::rs256* COIDCAuthHybrid::publicKey(SigningKeys::const_iterator key) const {
    const std::lock_guard<std::mutex> lock(m_publicKeysMutex);
    const auto position = std::distance(m_signingKeys.cbegin(), key);
    const auto known = m_publicKeys.find(position);
    if (known != m_publicKeys.end()) {
        return &known->second;
    }
    const std::optional<std::string> text = detail::publicKeyText(*key, m_logger);
    return text ? &m_publicKeys.emplace(position, *text).first->second : nullptr;
}

bool COIDCAuthHybrid::refuse(std::string* missed, const char* claim, const wchar_t* line) const {
    detail::log(m_logger, ELogLevel::Error, line);
    return refusedFor(missed, claim);
}

bool COIDCAuthHybrid::hasIssuer(const DecodedJwt& token) const {
    try {
        return token.has_issuer() && token.get_issuer() == m_issuer.toUtf8();
    } catch (const std::bad_cast&) {  // the claim is not a string
        return false;
    }
}

bool COIDCAuthHybrid::validateIdTokenClaims(const DecodedJwt& token, const CString& clientId,
                                            const utility::string_t& expectedNonce,
                                            std::string* missed) const {
    detail::log(m_logger, ELogLevel::Flow, L"Validating id token claims...");
    if (!hasIssuer(token)) {
        return refuse(missed, "iss", L"Unable to find issuer claim in id token.");
    }
    if (!token.has_audience()) {
        return refuse(missed, "aud", L"Unable to find audience claim in id token.");
    }
    if (token.get_audience().count(clientId.toUtf8()) == 0) {
        return refuse(missed, "aud", L"Unable to find client id in audience in id token.");
    }
    if (!isCurrent(token)) {
        return refuse(
            missed, "exp",
            L"Unable to find expiration timestamp, or token is already expired in id token.");
    }
    if (!expectedNonce.empty() && token.has_payload_claim("nonce") &&
        token.get_payload_claim("nonce").as_string() !=
            utility::conversions::to_utf8string(expectedNonce)) {
        return refuse(missed, "nonce", L"Unable to find nonce in id token.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Id token claims validated successfully.");
    return true;
}

bool COIDCAuthHybrid::validateAccessTokenClaims(const DecodedJwt& token, const CString& clientId,
                                                std::string* missed) const {
    detail::log(m_logger, ELogLevel::Flow, L"Validating access token claims...");
    if (!hasIssuer(token)) {
        return refuse(missed, "iss", L"Access token issuer is missing or incorrect.");
    }
    if (!token.has_payload_claim("client_id") ||
        token.get_payload_claim("client_id").as_string() != clientId.toUtf8()) {
        return refuse(missed, "client_id", L"Access token client id is missing or incorrect.");
    }
    if (!isCurrent(token)) {
        return refuse(missed, "exp", L"Token has no expiration time or is already expired.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Access token claims validated successfully.");
    return true;
}

}  // namespace auth
