#include "testing/detail/Service.h"

#include "testing/detail/Authorization.h"
#include "testing/detail/Text.h"

#include <algorithm>

namespace auth::testing::detail {
namespace {

using std::chrono::seconds;

constexpr std::array paths{"/.well-known/openid-configuration", "/jwks", "/token", "/authorize"};

// One for all providers of a process: tests create many providers, and generating an RSA pair takes
// long.
const SigningKey& defaultKey() {
    static const auto key = SigningKey::rsa("test-key");
    return key;
}

Fields jsonHeaders() {
    return {{"Content-Type", "application/json"}};
}

Content refusal(unsigned status, const char* error, Fields headers) {
    return {status, object({{"error", quoted(error)}}), std::move(headers)};
}

seconds::rep now() {
    return std::chrono::duration_cast<seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// A test may set any lifetime, so the sum is limited: it could overflow.
std::string sum(seconds::rep time, seconds::rep lifetime) {
    return std::to_string(time + std::min(lifetime, seconds::max().count() - time));
}

}  // namespace

const char* pathOf(Endpoint endpoint) {
    return paths.at(static_cast<std::size_t>(endpoint));
}

Service::Service(std::string issuer) : m_issuer(std::move(issuer)) {}

Settings& Service::settings(Endpoint endpoint) {
    return m_settings.at(static_cast<std::size_t>(endpoint));
}

std::vector<PublishedKey>& Service::keys() {
    auto& keys = settings(Endpoint::Keys).keys;
    return keys ? *keys : keys.emplace({PublishedKey{defaultKey(), {}}});
}

SigningKey Service::signingKey() {
    const auto& keys = settings(Endpoint::Keys).keys;
    return keys && !keys->empty() ? keys->front().key : defaultKey();
}

TestToken Service::token(TokenKind kind, const std::string& clientId, const std::string& nonce) {
    constexpr seconds::rep idTokenLifetime = 3600;
    const bool access = kind == TokenKind::Access;
    const auto key = signingKey();
    const auto time = now();
    TestToken token;
    token.setHeader("alg", quoted(key.algorithm()))
        .setHeader("kid", quoted(key.kid()))
        .setHeader("typ", quoted(access ? "at+jwt" : "JWT"))
        .setClaim("iss", quoted(m_issuer))
        .setClaim("aud", quoted(access ? "urn:test:api" : clientId))
        .setClaim("sub", quoted("test-user"))
        .setClaim("iat", std::to_string(time))
        .setClaim("exp", sum(time, access ? tokenLifetime.count() : idTokenLifetime));
    if (access) {
        token.setClaim("client_id", quoted(clientId))
            .setClaim("scope", quoted("openid"))
            .setClaim("jti", quoted(unique("jti")));
    } else if (!nonce.empty()) {
        token.setClaim("nonce", quoted(nonce));
    }
    return token;
}

Content Service::content(const RecordedRequest& request, Endpoint endpoint) {
    const auto* const method = endpoint == Endpoint::Token ? "POST" : "GET";
    if (request.method != method) {
        return {405, {}, {{"Allow", method}}};
    }
    switch (endpoint) {
        case Endpoint::Token:
            return tokenContent(request);
        case Endpoint::Authorization:
            return authorizationContent(request);
        case Endpoint::Keys:
            return {200, document(endpoint, {{"keys", keySet()}}), jsonHeaders()};
        case Endpoint::Discovery:
            break;
    }
    return {200, document(Endpoint::Discovery, configuration()), jsonHeaders()};
}

Content Service::authorizationContent(const RecordedRequest& request) {
    const auto clientId = request.parameter("client_id");
    auto complaint = complaintAbout(request.query());
    if (complaint.empty() && requiredClient && requiredClient->first != clientId) {
        complaint = "unknown client " + clientId;
    }
    if (!complaint.empty()) {
        return {400, complaint + '\n', {{"Content-Type", "text/plain; charset=utf-8"}}};
    }
    const auto redirectUri = request.parameter("redirect_uri");
    const auto nonce = request.parameter("nonce");
    const auto code = grants.issueCode({clientId, redirectUri, request.parameter("code_challenge"),
                                        nonce, request.parameter("scope")});
    const auto idToken = token(TokenKind::AuthorizationId, clientId, nonce)
                             .setClaim("c_hash", quoted(codeHash(code)));
    const auto& set = settings(Endpoint::Authorization);
    const Members fields{{"code", code},
                         {"id_token", carried(TokenKind::AuthorizationId, idToken)},
                         {"state", request.parameter("state")}};
    return {200,
            set.document ? *set.document : postingPage(redirectUri, changed(fields, set.members)),
            {{"Content-Type", "text/html; charset=utf-8"}, {"Cache-Control", "no-store"}}};
}

Content Service::tokenContent(const RecordedRequest& request) {
    auto headers = jsonHeaders();
    headers.emplace_back("Cache-Control", "no-store");
    if (requiredClient && requiredClient != request.client()) {
        headers.emplace_back("WWW-Authenticate", "Basic realm=\"provider\"");
        return refusal(401, "invalid_client", std::move(headers));
    }
    const auto grantType = request.field("grant_type");
    std::optional<Members> members;
    if (grantType == "client_credentials") {
        members = Members{{"access_token", quoted(unique("token-" + request.client().first))}};
    } else if (grantType == "authorization_code") {
        members = granted(grants.redeemCode(request));
    } else if (grantType == "refresh_token") {
        members = granted(grants.redeemRefreshToken(request));
    } else {
        return refusal(400, "unsupported_grant_type", std::move(headers));
    }
    if (!members) {
        return refusal(400, "invalid_grant", std::move(headers));
    }
    members->emplace("token_type", quoted("Bearer"));
    members->emplace("expires_in", std::to_string(tokenLifetime.count()));
    return {200, document(Endpoint::Token, *std::move(members)), std::move(headers)};
}

std::optional<Members> Service::granted(const std::optional<Grants::Redeemed>& grant) {
    if (!grant) {
        return std::nullopt;
    }
    const auto scope = quoted(grant->scope);
    auto access = token(TokenKind::Access, grant->clientId, "").setClaim("scope", scope);
    const auto id = token(TokenKind::Id, grant->clientId, grant->nonce);
    return Members{{"access_token", quoted(carried(TokenKind::Access, access))},
                   {"id_token", quoted(carried(TokenKind::Id, id))},
                   {"refresh_token", quoted(grant->refreshToken)},
                   {"scope", scope}};
}

std::string Service::carried(TokenKind kind, TestToken token) {
    const auto& set = settings(sourceOf(kind)).tokens.at(static_cast<std::size_t>(kind));
    if (set.text) {
        return *set.text;
    }
    const auto key = set.key.value_or(signingKey());
    token.setHeader("alg", quoted(key.algorithm())).setHeader("kid", quoted(key.kid()));
    for (const auto& [name, json] : set.header) {
        json ? token.setHeader(name, *json) : token.removeHeader(name);
    }
    for (const auto& [name, json] : set.claims) {
        json ? token.setClaim(name, *json) : token.removeClaim(name);
    }
    return token.signedBy(key);
}

std::string Service::document(Endpoint endpoint, Members members) {
    const auto& set = settings(endpoint);
    return set.document ? *set.document : object(changed(std::move(members), set.members));
}

std::string Service::keySet() {
    const auto& set = settings(Endpoint::Keys).keys;
    std::string keys;
    for (const auto& [key, changes] : set ? *set : std::vector{PublishedKey{defaultKey(), {}}}) {
        keys.append(keys.empty() ? "[" : ",").append(object(changed(key.members(), changes)));
    }
    return keys.empty() ? "[]" : keys + "]";
}

Members Service::configuration() const {
    return {
        {"issuer", quoted(m_issuer)},
        {"authorization_endpoint", quoted(m_issuer + pathOf(Endpoint::Authorization))},
        {"token_endpoint", quoted(m_issuer + pathOf(Endpoint::Token))},
        {"jwks_uri", quoted(m_issuer + pathOf(Endpoint::Keys))},
        {"response_types_supported", R"(["code","code id_token"])"},
        {"response_modes_supported", R"(["query","form_post"])"},
        {"code_challenge_methods_supported", R"(["S256"])"},
        {"subject_types_supported", R"(["public"])"},
        {"id_token_signing_alg_values_supported", R"(["RS256"])"},
        {"grant_types_supported", R"(["client_credentials","authorization_code","refresh_token"])"},
        {"scopes_supported", R"(["openid", "a", "b"])"},
        {"token_endpoint_auth_methods_supported",
         R"(["client_secret_basic","client_secret_post"])"}};
}

}  // namespace auth::testing::detail
