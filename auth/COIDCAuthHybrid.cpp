#include "auth/COIDCAuthHybrid.h"

#include "auth/COIDCAuthCodeListener.h"
#include "auth/detail/Discovery.h"
#include "auth/detail/FormBody.h"
#include "auth/detail/Json.h"
#include "auth/detail/Pkce.h"
#include "auth/detail/Text.h"
#include "auth/detail/TokenEndpoint.h"
#include "auth/detail/Waiting.h"
#include "platform/TaskScheduler.h"

#include <cpprest/uri_builder.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <string>
#include <utility>

namespace auth {

using detail::DecodedJwt;
using detail::ELogLevel;
using detail::Kind;
using web::http::http_response;

namespace {

constexpr int nonceLength = 22;           // characters
constexpr std::size_t verifierSize = 64;  // bytes

/// `kty` and `use` are always read, so a key that lacks one of them makes the whole load fail.
bool isAcceptable(const web::json::value& jwk) {
    const utility::string_t& type = jwk.at(_XPLATSTR("kty")).as_string();
    const utility::string_t& use = jwk.at(_XPLATSTR("use")).as_string();
    return type == _XPLATSTR("RSA") && use == _XPLATSTR("sig") &&
           (jwk.has_string_field(_XPLATSTR("x5c")) ||
            (jwk.has_string_field(_XPLATSTR("e")) && jwk.has_string_field(_XPLATSTR("n"))));
}

/// A refusal is reported as a pointer. It is created last, so that nothing can fail, and leak it,
/// before the code that waits for the task gets it.
COIDCToken asRefresh(const Concurrency::task<COIDCToken>& refreshed) {
    try {
        return refreshed.get();
    } catch (const OIDCError& failure) {
        if (failure.kind() != OIDCError::Kind::providerRefused) {
            throw;
        }
        auto* const owned = new OIDCError(failure);
        // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
        throw owned;
    }
}

/// Any page can post to the listener: the provider's error texts count only if they come with this
/// state.
COIDCAuthCodeListener::OIDCAuthCode receiveAuthCode(const COIDCAuthCodeListener& listener,
                                                    unsigned timeoutSeconds,
                                                    const Concurrency::cancellation_token& token,
                                                    const utility::string_t& state) {
    try {
        return listener.getAuthCodeAsync(timeoutSeconds, token).get();
    } catch (const COIDCAuthCodeListener::RefusedForm& refused) {
        const OIDCError& failure = refused;
        throw refused.state == state ? failure : OIDCError(Kind::wrongAnswer, failure.what());
    }
}

/// Many providers send their keys with the content type of RFC 7517, which the HTTP library does
/// not accept as JSON.
detail::JsonAnswer checkJwksResponse(const http_response& response) {
    const bool isKeySet = response.headers().content_type().find(
                              _XPLATSTR("application/jwk-set+json")) != utility::string_t::npos;
    return detail::extractJson(response, isKeySet ? detail::JsonType::Any : detail::JsonType::Json);
}

}  // namespace

COIDCAuthHybrid::COIDCAuthHybrid(const CString& configUrl, const detail::LoggerPtr& logger,
                                 const OIDCFlowSettings& settings,
                                 const Concurrency::cancellation_token& token,
                                 OpenBrowser openBrowser)
    : m_settings(settings), m_logger(logger), m_openBrowser(std::move(openBrowser)) {
    loadConfiguration(*detail::receiveConfiguration(
        m_http, configUrl, m_logger, "unable to retrieve server configuration", token));
    fetchSigningKeys(token);
    detail::log(m_logger, ELogLevel::Detail,
                L"OIDC configuration received and validated successfully.");
}

void COIDCAuthHybrid::loadConfiguration(const web::json::value& configuration) {
    m_issuer = detail::textMember(configuration, _XPLATSTR("issuer"));
    m_authorizationEndpoint =
        detail::textMember(configuration, _XPLATSTR("authorization_endpoint"));
    m_tokenEndpoint = detail::textMember(configuration, _XPLATSTR("token_endpoint"));
    m_jwksUri = detail::textMember(configuration, _XPLATSTR("jwks_uri"));
    m_scopesSupported = detail::scopesSupported(configuration);

    const auto lists = [&configuration](const utility::char_t* member, const CString& value) {
        return detail::listsValue(configuration, member, value);
    };
    if (!lists(_XPLATSTR("response_types_supported"), m_settings.responseType)) {
        detail::fail(m_logger, {Kind::wrongAnswer, "requested response type is not supported"},
                     L"Requested response type is not supported.");
    }
    if (!lists(_XPLATSTR("grant_types_supported"), m_settings.grantType) ||
        !lists(_XPLATSTR("grant_types_supported"), m_settings.refreshGrantType)) {
        detail::fail(m_logger, {Kind::wrongAnswer, "requested grant types are not supported"},
                     L"Requested grant type is not supported.");
    }
    if (!lists(_XPLATSTR("response_modes_supported"), m_settings.responseMode)) {
        detail::fail(m_logger, {Kind::wrongAnswer, "requested response mode is not supported"},
                     L"Requested response mode is not supported.");
    }
    if (!lists(_XPLATSTR("id_token_signing_alg_values_supported"), m_settings.signingAlgorithm)) {
        detail::fail(m_logger,
                     {Kind::wrongAnswer, "requested token signature type is not supported"},
                     L"Requested signature type is not supported.");
    }
}

void COIDCAuthHybrid::fetchSigningKeys(const Concurrency::cancellation_token& token) {
    detail::log(m_logger, ELogLevel::Detail, L"Receiving signatures...");
    auto checkStatus =
        detail::expectOk(m_logger, "unable to retrieve information from jwks endpoint",
                         L"Unable to retrieve information from jwks endpoint.");
    const detail::JsonAnswer jwks =
        m_http.send({detail::toHttpText(m_jwksUri), {}, {}}, token, std::move(checkStatus))
            .then(checkJwksResponse)
            .get();
    loadSigningKeys(std::move(*jwks));
}

void COIDCAuthHybrid::loadSigningKeys(web::json::value jwks) {
    web::json::array& keys = jwks.at(_XPLATSTR("keys")).as_array();
    std::copy_if(std::make_move_iterator(keys.begin()), std::make_move_iterator(keys.end()),
                 std::back_inserter(m_signingKeys), isAcceptable);
    if (m_signingKeys.empty()) {
        detail::fail(m_logger, {Kind::wrongAnswer, "unable to get proper keys from jwks endpoint"},
                     L"No acceptable jwks signature found.");
    }
}

Concurrency::task<COIDCToken> COIDCAuthHybrid::requestTokenHybridFlowAsync(
    const CString& clientId, const CString& scope, const std::vector<CString>& redirectUrls,
    const Concurrency::cancellation_token& token, std::uint32_t timeoutSeconds,
    const Parameters& parameters) {
    return detail::started([&] {
        const HybridFlowRequest request{clientId,       scope, redirectUrls,
                                        timeoutSeconds, token, parameters};
        return Concurrency::create_task([this, request] { return runHybridFlow(request); },
                                        platform::blocking(token));
    });
}

COIDCToken COIDCAuthHybrid::runHybridFlow(const HybridFlowRequest& request) {
    detail::log(m_logger, ELogLevel::Detail, L"Requesting token...");
    // Each call creates its own generator, seeded with the current second: mostly the two values
    // are equal.
    const utility::string_t nonce = utility::nonce_generator(nonceLength).generate();
    const utility::string_t state = utility::nonce_generator(nonceLength).generate();
    const utility::string_t codeVerifier = detail::makeCodeVerifier(verifierSize);
    const OpenListener opened = openListener(request.redirectUrls, request.token);

    detail::log(m_logger, ELogLevel::Flow, L"Requesting auth code...");
    if (!requestAuthCode(request.clientId, request.scope, opened.redirectUrl, nonce, state,
                         codeVerifier, request.parameters)) {
        detail::fail(m_logger,
                     {Kind::nobodySignedIn, "unable to request authentication through the browser"},
                     L"Unable to request auth code through the browser.");
    }
    const auto received =
        receiveAuthCode(*opened.listener, request.timeoutSeconds, request.token, state);
    if (received.state != state) {
        detail::fail(m_logger, {Kind::wrongAnswer, "request state does not match"},
                     L"Unable to receive auto code or state does not match.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Auth code requested successfully.");

    detail::log(m_logger, ELogLevel::Flow, L"Validating auth code...");
    const DecodedJwt idToken = detail::decodeJwt(detail::fromHttpText(received.idToken));
    std::string missed;
    if (!validateJwt(idToken, &missed) ||
        !validateIdTokenClaims(idToken, request.clientId, nonce, &missed)) {
        detail::fail(m_logger,
                     detail::refusal("auth code response validation failed", idToken, missed),
                     L"Invalid auth code.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Auth code validated successfully.");
    return requestTokenByAuthCodeAsync(request.clientId, request.scope, opened.redirectUrl,
                                       codeVerifier, received.code, request.token)
        .get();
}

COIDCAuthHybrid::OpenListener COIDCAuthHybrid::openListener(
    const std::vector<CString>& redirectUrls, const Concurrency::cancellation_token& token) const {
    for (const CString& url : redirectUrls) {
        // Checked before the browser opens, and between hosts whose resolution takes long.
        if (detail::isInterrupted(token)) {
            throw Concurrency::task_canceled();
        }
        try {
            return {url, std::make_unique<COIDCAuthCodeListener>(url)};
        } catch (const std::exception& error) {
            if (&url == &redirectUrls.back()) {
                detail::log(m_logger, ELogLevel::Error, L"Unable to construct listener. %s.",
                            error.what());
                throw;
            }
        }
    }
    throw OIDCError(Kind::cannotListen, "cannot construct listener");
}

bool COIDCAuthHybrid::requestAuthCode(const CString& clientId, const CString& scope,
                                      const CString& redirectUrl, const utility::string_t& nonce,
                                      const utility::string_t& state,
                                      const utility::string_t& codeVerifier,
                                      const Parameters& parameters) const {
    using detail::toHttpText;
    web::uri_builder url{web::uri(toHttpText(m_authorizationEndpoint))};
    url.append_query(_XPLATSTR("response_type"), toHttpText(m_settings.responseType))
        .append_query(_XPLATSTR("nonce"), nonce)
        .append_query(_XPLATSTR("state"), state)
        .append_query(_XPLATSTR("code_challenge"), detail::makeCodeChallenge(codeVerifier), false)
        .append_query(_XPLATSTR("code_challenge_method"),
                      toHttpText(m_settings.codeChallengeMethod))
        .append_query(_XPLATSTR("client_id"), toHttpText(clientId))
        .append_query(_XPLATSTR("scope"), toHttpText(scope))
        .append_query(_XPLATSTR("redirect_uri"),
                      web::uri::encode_data_string(toHttpText(redirectUrl)), false)
        .append_query(_XPLATSTR("response_mode"), toHttpText(m_settings.responseMode));
    for (const auto& [name, value] : parameters) {
        url.append_query(toHttpText(name), toHttpText(value));
    }
    return m_openBrowser && m_openBrowser(detail::fromHttpText(url.to_string()));
}

Concurrency::task<COIDCToken> COIDCAuthHybrid::requestTokenByAuthCodeAsync(
    const CString& clientId, const CString& scope, const CString& redirectUri,
    const utility::string_t& codeVerifier, const utility::string_t& code,
    const Concurrency::cancellation_token& token) {
    return detail::started([&] {
        detail::FormBody form;
        form.add(_XPLATSTR("grant_type"), m_settings.grantType)
            .add(_XPLATSTR("code"), code)
            .addAllEncoded(_XPLATSTR("redirect_uri"), redirectUri)
            .add(_XPLATSTR("code_verifier"), codeVerifier)
            .add(_XPLATSTR("client_id"), clientId);
        detail::log(m_logger, ELogLevel::Flow, L"Requesting token using received auth code.");
        return requestToken(
            form, clientId, scope,
            detail::expectOk(m_logger, "unable to receive access token by auth code",
                             L"Unable to request token using received auth code. "
                             L"Unexpected response (%d) received."),
            L"Token has been successfully requested using received auth code.", token);
    });
}

Concurrency::task<COIDCToken> COIDCAuthHybrid::refreshTokenAsync(
    const CString& clientId, const CString& scope, const CString& refreshToken,
    const Concurrency::cancellation_token& token) {
    return detail::started([&] {
        detail::FormBody form;
        form.add(_XPLATSTR("grant_type"), m_settings.refreshGrantType)
            .add(_XPLATSTR("refresh_token"), refreshToken)
            .add(_XPLATSTR("client_id"), clientId);
        detail::log(m_logger, ELogLevel::Flow, L"Refreshing token...");
        return requestToken(
                   form, clientId, scope,
                   detail::expectOk(m_logger, "unable to receive access token by refresh token",
                                    L"Unable to refresh token, unexpected response (%d) received."),
                   L"Token refreshed successfully.", token)
            .then(asRefresh);
    });
}

Concurrency::task<COIDCToken> COIDCAuthHybrid::requestToken(
    const detail::FormBody& form, const CString& clientId, const CString& scope,
    detail::HttpExchange::CheckHead checkHead, const wchar_t* successLine,
    const Concurrency::cancellation_token& token) {
    detail::HttpRequest request = detail::formRequest(m_tokenEndpoint, form);
    request.headers.add(web::http::header_names::accept, _XPLATSTR("application/json"));
    return detail::sendForJson(m_http, request, token, std::move(checkHead))
        .then([this, clientId, scope, successLine](const detail::JsonAnswer& answer) {
            COIDCToken received = extractToken(*answer, clientId, scope);
            detail::log(m_logger, ELogLevel::Flow, successLine);
            return received;
        });
}

COIDCToken COIDCAuthHybrid::extractToken(const web::json::value& answer, const CString& clientId,
                                         const CString& scope) const {
    detail::log(m_logger, ELogLevel::Flow, L"Extracting token...");
    detail::requireBearer(answer, m_logger);
    const CString accessToken = detail::textMember(answer, _XPLATSTR("access_token"));
    const CString idToken = detail::textMember(answer, _XPLATSTR("id_token"));
    const CString refreshToken = answer.has_string_field(_XPLATSTR("refresh_token"))
                                     ? detail::textMember(answer, _XPLATSTR("refresh_token"))
                                     : CString();
    const int expiresIn = detail::expiresIn(answer);

    const DecodedJwt decodedIdToken = detail::decodeJwt(idToken);
    std::string missed;
    if (!validateJwt(decodedIdToken, &missed) ||
        !validateIdTokenClaims(decodedIdToken, clientId, {}, &missed)) {
        detail::fail(m_logger,
                     detail::refusal("id token validation failed", decodedIdToken, missed),
                     L"Unable to validate id token.");
    }
    const DecodedJwt decodedAccessToken = detail::decodeJwt(accessToken);
    if (!validateJwt(decodedAccessToken, &missed) ||
        !validateAccessTokenClaims(decodedAccessToken, clientId, &missed)) {
        detail::fail(m_logger,
                     detail::refusal("access token validation failed", decodedAccessToken, missed),
                     L"Unable to validate access token.");
    }
    detail::log(m_logger, ELogLevel::Flow, L"Access token extracted successfully.");
    return {accessToken, refreshToken, idToken, detail::expiry(expiresIn), clientId, scope};
}

}  // namespace auth
