#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace auth {

/// Asks a COIDCHelper for the access token of a service (RFC 6749, section 4.4).
///
/// All texts are UTF-8; a text that is not ends the request with std::range_error. A minimum
/// validity below 0 or above 2147483647 minutes ends it with std::invalid_argument. In both cases
/// the store is not read and the provider is not asked.
///
/// \ingroup requests
struct ServiceRequest {
    std::string configUrl;               ///< URL of the provider's configuration document
    std::string clientId;                ///< as registered with the provider
    std::string clientSecret;            ///< sent to the token endpoint only
    std::string scopes;                  ///< requested; separated by spaces
    std::chrono::minutes minValidity{};  ///< a stored token is used if valid for longer than this
};

/// Asks a COIDCHelper for a token of a user (OpenID Connect Core 1.0, section 3.3).
///
/// Values are refused as in a ServiceRequest. The provider shows other mistakes, such as a client
/// id or redirect URL that it does not know, to the user in the browser. The request then ends
/// after 90 s, as if nobody had signed in.
///
/// \ingroup requests
struct UserRequest {
    std::string configUrl;  ///< URL of the provider's configuration document
    std::string clientId;   ///< as registered with the provider
    std::string scopes;     ///< separated by spaces, `openid` among them
    /// Alternatives for the provider's answer, in order of preference: http URLs of this machine,
    /// registered with the provider (RFC 8252, section 7.3), such as
    /// `http://127.0.0.1:48123/callback`. The first whose port is free is used. Name a port even if
    /// the provider accepts any. Needed for sign-ins only.
    std::vector<std::string> redirectUrls;
    std::chrono::minutes minValidity{};  ///< a stored token is used if valid for longer than this
    /// Whether the user may be asked to sign in, if neither the stored token nor a refresh helps.
    bool mayAskUser = false;

    /// More parameters of the URL at which the user signs in, such as `prompt`, `max_age`,
    /// `login_hint` or `resource`. They are used for sign-ins only, and come after the flow's own
    /// parameters. Everyone who sees the URL sees them.
    ///
    /// The request ends with std::invalid_argument if a name is empty or reserved, in any letter
    /// case. These names are reserved: those of the flow's own parameters; `request` and
    /// `request_uri`, which would replace these parameters (RFC 9101); and those that belong to the
    /// token endpoint, such as `client_secret`.
    std::vector<std::pair<std::string, std::string>> authorizationParameters;
};

}  // namespace auth
