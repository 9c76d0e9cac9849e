#pragma once

#include "testing/detail/Answering.h"
#include "testing/detail/Grants.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace auth::testing::detail {

constexpr std::array endpoints{Endpoint::Discovery, Endpoint::Keys, Endpoint::Token,
                               Endpoint::Authorization};

/// The endpoint that issues tokens of that kind.
constexpr Endpoint sourceOf(TokenKind kind) {
    return kind == TokenKind::AuthorizationId ? Endpoint::Authorization : Endpoint::Token;
}

/// The path below the issuer.
const char* pathOf(Endpoint endpoint);

/// The content of the provider's answers, as tests have set it, without the way it is sent. Not for
/// several threads at once.
class Service {
public:
    explicit Service(std::string issuer);

    Settings& settings(Endpoint endpoint);
    /// The published keys, for changing.
    std::vector<PublishedKey>& keys();
    SigningKey signingKey();
    TestToken token(TokenKind kind, const std::string& clientId, const std::string& nonce);
    /// The answer to a well-formed request. Uses up the request's code or refresh token.
    Content content(const RecordedRequest& request, Endpoint endpoint);

    std::chrono::seconds tokenLifetime{3600};
    std::optional<std::pair<std::string, std::string>> requiredClient;
    Grants grants;

private:
    Content authorizationContent(const RecordedRequest& request);
    Content tokenContent(const RecordedRequest& request);
    std::optional<Members> granted(const std::optional<Grants::Redeemed>& grant);
    std::string carried(TokenKind kind, TestToken token);
    std::string document(Endpoint endpoint, Members members);
    std::string keySet();
    Members configuration() const;

    const std::string m_issuer;
    std::array<Settings, endpoints.size()> m_settings;
};

}  // namespace auth::testing::detail
