#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace auth {

// What a COIDCHelper is asked for, member by member. All texts are UTF-8. A text that is not ends
// the request with std::range_error; a minimum validity below 0 or above 2147483647 minutes, with
// std::invalid_argument; the store is not read, and the provider not asked, then.

/// The access token of a service (RFC 6749, section 4.4).
struct ServiceRequest {
    std::string configUrl;  ///< of the provider's configuration document
    std::string clientId;
    std::string clientSecret;
    std::string scopes;                  ///< separated by spaces
    std::chrono::minutes minValidity{};  ///< a stored token serves if it lives longer than this
};

/// A token of a user (OpenID Connect Core 1.0, section 3.3).
struct UserRequest {
    std::string configUrl;  ///< of the provider's configuration document
    std::string clientId;
    std::string scopes;                     ///< separated by spaces, `openid` among them
    std::vector<std::string> redirectUrls;  ///< in the order of preference; see COIDCHelper
    std::chrono::minutes minValidity{};     ///< a stored token serves if it lives longer than this
    bool mayAskUser = false;                ///< where neither a stored token nor a refresh helps

    /// Names and values that stand behind those of the flow in the URL that the user is brought to,
    /// such as `prompt`, `max_age`, `login_hint` or `resource`: for sign-ins only. Whoever sees
    /// that URL sees them. std::invalid_argument for a name that is empty; for one of the flow's
    /// own, in whatever case; for `request` and `request_uri`, which would stand in their place;
    /// and for what only the token endpoint may learn, such as `client_secret`.
    std::vector<std::pair<std::string, std::string>> authorizationParameters;
};

}  // namespace auth
