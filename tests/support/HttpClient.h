#pragma once

#include "tests/support/Common.h"

namespace test {

/// The system's client behind the HTTP library: parts of its messages, and its abilities that tests
/// depend on.
struct HttpClient {
    std::string refused, unresolved, noHead, noHeadOfAPost, noBody, noHttp;
    bool tellsOfACutBody;   ///< otherwise the truncated text is passed on
    bool takesAuthorities;  ///< for a single client, at any time
    bool survivesResets;
    bool boundsHeads;
    bool closesWhenCancelled;  ///< even a connection whose peer sends nothing
};

extern const HttpClient httpClient;

}  // namespace test
