#include "auth/COIDCAuthClientCredentials.h"

#include "auth/detail/Discovery.h"
#include "auth/detail/Json.h"
#include "auth/detail/TokenEndpoint.h"
#include "auth/detail/Waiting.h"

namespace auth {

using detail::ELogLevel;

COIDCAuthClientCredentials::COIDCAuthClientCredentials(const CString& configUrl,
                                                       const detail::LoggerPtr& logger,
                                                       const CString& grantType,
                                                       const Concurrency::cancellation_token& token)
    : m_grantType(grantType), m_logger(logger) {
    loadConfiguration(*detail::receiveConfiguration(m_http, configUrl, m_logger,
                                                    "unable to retrieve configuration", token));
    detail::log(m_logger, ELogLevel::Detail,
                L"OIDC configuration received and validated successfully.");
}

void COIDCAuthClientCredentials::loadConfiguration(const web::json::value& configuration) {
    m_issuer = detail::textMember(configuration, _XPLATSTR("issuer"));
    if (!detail::listsValue(configuration, _XPLATSTR("grant_types_supported"), m_grantType)) {
        detail::fail(m_logger, {detail::Kind::wrongAnswer, "requested grant type is not supported"},
                     L"Requested grant type is not supported.");
    }
    m_authorizationEndpoint =
        detail::textMember(configuration, _XPLATSTR("authorization_endpoint"));
    m_tokenEndpoint = detail::textMember(configuration, _XPLATSTR("token_endpoint"));
    m_scopesSupported = detail::scopesSupported(configuration);
}

Concurrency::task<COIDCToken> COIDCAuthClientCredentials::requestTokenAsync(
    const CString& clientId, const CString& clientSecret, const CString& scope,
    const Concurrency::cancellation_token& token) {
    return detail::started([&] {
        detail::FormBody form;
        form.add(_XPLATSTR("grant_type"), m_grantType)
            .add(_XPLATSTR("client_id"), clientId)
            .add(_XPLATSTR("client_secret"), clientSecret)
            .add(_XPLATSTR("scope"), scope);
        detail::log(m_logger, ELogLevel::Detail, L"Requesting token...");
        return detail::sendForJson(
                   m_http, detail::formRequest(m_tokenEndpoint, form), token,
                   detail::expectOk(
                       m_logger, "unable to retrieve token",
                       L"Unable to request token. Unexpected response (%d) is received."))
            .then([this, clientId, scope](const detail::JsonAnswer& answer) {
                return extractClientCredentialsToken(*answer, clientId, scope);
            });
    });
}

COIDCToken COIDCAuthClientCredentials::extractClientCredentialsToken(const web::json::value& answer,
                                                                     const CString& clientId,
                                                                     const CString& scope) const {
    detail::requireBearer(answer, m_logger);
    const CString accessToken = detail::textMember(answer, _XPLATSTR("access_token"));
    const int expiresIn = detail::expiresIn(answer);
    detail::log(m_logger, ELogLevel::Detail, L"Token requested successfully.");
    return {accessToken, CString(), CString(), detail::expiry(expiresIn), clientId, scope};
}

}  // namespace auth
