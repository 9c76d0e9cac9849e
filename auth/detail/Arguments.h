#pragma once

#include "auth/COIDCToken.h"
#include "auth/Requests.h"
#include "host/CString.h"

#include <stdexcept>
#include <utility>
#include <vector>

namespace auth::detail {

// The arguments of a request, whichever function it came by.

struct ServiceArguments {
    CString configUrl;
    CString clientId;
    CString clientSecret;
    CString scopes;
    unsigned int minValidity;  // minutes
};

struct UserArguments {
    CString configUrl;
    CString clientId;
    CString scopes;
    std::vector<CString> redirectUrls;
    unsigned int minValidity;  // minutes
    bool authRequested;
    std::vector<std::pair<CString, CString>> authorizationParameters = {};

    /// For the log.
    CString firstRedirectUrl() const {
        return redirectUrls.empty() ? CString() : redirectUrls.front();
    }
};

/// An error of the caller, who only sees the base class that auth/Requests.h promises.
class RefusedArgument final : public std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

// These functions throw it.
ServiceArguments argumentsOf(const ServiceRequest& request);
UserArguments argumentsOf(const UserRequest& request);

// These extract the requested part from the token.

inline CString accessTokenOf(const COIDCToken& token) {
    return token.accessToken();
}
inline CString idTokenOf(const COIDCToken& token) {
    return token.idToken();
}
inline COIDCToken wholeOf(const COIDCToken& token) {
    return token;
}

}  // namespace auth::detail
