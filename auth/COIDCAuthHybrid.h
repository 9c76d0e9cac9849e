#pragma once

#include "auth/COIDCToken.h"
#include "auth/detail/FormBody.h"
#include "auth/detail/HttpExchange.h"
#include "auth/detail/Jwt.h"
#include "auth/detail/Log.h"
#include "host/CString.h"
#include "platform/Tasks.h"

#include <cpprest/json.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace auth {

class COIDCAuthCodeListener;

/// The values that a provider must support. They are compared exactly.
struct OIDCFlowSettings {
    CString responseType;
    CString responseMode;
    CString grantType;
    CString refreshGrantType;
    CString signingAlgorithm;
    CString codeChallengeMethod;
};

/// The hybrid flow (OpenID Connect Core 1.0, section 3.3) and the refresh (RFC 6749, section 6) at
/// one provider. Callers notice no change after construction, so that any thread may use it.
class COIDCAuthHybrid {
public:
    /// Names and values of parameters.
    using Parameters = std::vector<std::pair<CString, CString>>;
    /// Shows the page at `url` to the user; returns whether that worked.
    using OpenBrowser = std::function<bool(const CString& url)>;

    /// Blocks until the provider's configuration and signing keys have been received and checked.
    /// Throws if that fails or `token` is cancelled. Without `openBrowser`, no user can be asked.
    COIDCAuthHybrid(
        const CString& configUrl, const detail::LoggerPtr& logger, const OIDCFlowSettings& settings,
        const Concurrency::cancellation_token& token = Concurrency::cancellation_token::none(),
        OpenBrowser openBrowser = {});

    // Requests. This object must outlive their tasks. They never throw: every failure is in the
    // task.

    /// Lets the user sign in, then redeems the code. The first redirect URL on which a listener can
    /// be opened receives the provider's answer, for `timeoutSeconds`. In the authorization URL,
    /// `parameters` come after those of the flow, which they must not repeat.
    Concurrency::task<COIDCToken> requestTokenHybridFlowAsync(
        const CString& clientId, const CString& scope, const std::vector<CString>& redirectUrls,
        const Concurrency::cancellation_token& token, std::uint32_t timeoutSeconds,
        const Parameters& parameters = {});

    /// Redeems a code with the verifier of its challenge (RFC 7636, section 4.5).
    Concurrency::task<COIDCToken> requestTokenByAuthCodeAsync(
        const CString& clientId, const CString& scope, const CString& redirectUri,
        const utility::string_t& codeVerifier, const utility::string_t& code,
        const Concurrency::cancellation_token& token);

    /// If the answer is not 200, the task ends with an `OIDCError*`, which the catcher owns.
    Concurrency::task<COIDCToken> refreshTokenAsync(const CString& clientId, const CString& scope,
                                                    const CString& refreshToken,
                                                    const Concurrency::cancellation_token& token);

    /// The token of a successful answer, after its ID token and its access token have been
    /// validated in this order. Throws if one is refused.
    COIDCToken extractToken(const web::json::value& answer, const CString& clientId,
                            const CString& scope) const;

    // Checks of a token (RFC 7519, section 7.2; OpenID Connect Core 1.0, section 3.1.3.7). For a
    // token that they refuse, they log why, set `missed` (unless null) to the name of the claim or
    // header member, and return false. Exceptions of the JWT library pass through.

    /// Checks algorithm, key, signature, and the times iat, nbf and exp.
    bool validateJwt(const detail::DecodedJwt& token, std::string* missed = nullptr) const;

    /// The nonce is not compared if `expectedNonce` is empty or the token has none.
    bool validateIdTokenClaims(const detail::DecodedJwt& token, const CString& clientId,
                               const utility::string_t& expectedNonce,
                               std::string* missed = nullptr) const;
    bool validateAccessTokenClaims(const detail::DecodedJwt& token, const CString& clientId,
                                   std::string* missed = nullptr) const;

private:
    using SigningKeys = std::vector<web::json::value>;

    struct HybridFlowRequest {
        CString clientId;
        CString scope;
        std::vector<CString> redirectUrls;
        std::uint32_t timeoutSeconds;
        Concurrency::cancellation_token token;
        Parameters parameters;
    };
    struct OpenListener {
        CString redirectUrl;
        std::unique_ptr<COIDCAuthCodeListener> listener;
    };

    void loadConfiguration(const web::json::value& configuration);
    void fetchSigningKeys(const Concurrency::cancellation_token& token);
    void loadSigningKeys(web::json::value jwks);
    SigningKeys::const_iterator findSigningKey(const detail::DecodedJwt& token) const;
    const jwt::algorithm::rs256* publicKey(SigningKeys::const_iterator key) const;
    bool refuse(std::string* missed, const char* claim, const wchar_t* line) const;
    bool hasIssuer(const detail::DecodedJwt& token) const;
    COIDCToken runHybridFlow(const HybridFlowRequest& request);
    OpenListener openListener(const std::vector<CString>& redirectUrls,
                              const Concurrency::cancellation_token& token) const;
    bool requestAuthCode(const CString& clientId, const CString& scope, const CString& redirectUrl,
                         const utility::string_t& nonce, const utility::string_t& state,
                         const utility::string_t& codeVerifier, const Parameters& parameters) const;
    Concurrency::task<COIDCToken> requestToken(const detail::FormBody& form,
                                               const CString& clientId, const CString& scope,
                                               detail::HttpExchange::CheckHead checkHead,
                                               const wchar_t* successLine,
                                               const Concurrency::cancellation_token& token);

    CString m_issuer;
    CString m_authorizationEndpoint;
    CString m_tokenEndpoint;
    CString m_jwksUri;
    std::set<CString> m_scopesSupported;
    OIDCFlowSettings m_settings;
    SigningKeys m_signingKeys;
    detail::LoggerPtr m_logger;
    OpenBrowser m_openBrowser;
    detail::HttpExchange m_http;

    mutable std::mutex m_publicKeysMutex;
    /// By the position of the signing key. Built on first use, because that takes longer than many
    /// verifications.
    mutable std::map<std::ptrdiff_t, jwt::algorithm::rs256> m_publicKeys;
};

}  // namespace auth
