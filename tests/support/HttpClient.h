#pragma once

#include "tests/support/Common.h"

namespace test {

/// The HTTP client that the system has for the HTTP library: parts of what it says, and what tests
/// can ask of it.
struct HttpClient {
    std::string refused, unresolved, noHead, noHeadOfAPost, noBody, noHttp;
    bool tellsOfACutBody;   ///< else the cut text is handed on
    bool takesAuthorities;  ///< for one client, at any time
    bool survivesResets;
    bool boundsHeads;
    bool closesWhenCancelled;  ///< a connection whose peer says nothing
};

extern const HttpClient httpClient;

}  // namespace test
