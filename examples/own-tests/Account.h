#pragma once

#include "auth/COIDCHelper.h"
#include "auth/OIDCError.h"

#include <string>

/// A part of a program, as it could be in yours: the text that its window shows about its user.
class Account {
public:
    Account(auth::COIDCHelper& helper, auth::UserRequest request)
        : m_helper(helper), m_request(std::move(request)) {}

    std::string greeting(bool mayAskUser) {
        using Kind = auth::OIDCError::Kind;
        m_request.mayAskUser = mayAskUser;
        try {
            return "Hello, " +
                   m_helper.getOIDCTokenHybrid(m_request).idTokenClaims().subject().value();
        } catch (...) {
            const auto failure = auth::OIDCError::of(std::current_exception());
            if (failure.kind() == Kind::signInNeeded && !failure.canRetry()) {
                return "Please sign in";
            }
            if (failure.kind() == Kind::userDeclined) {
                return "You did not let us in";
            }
            return failure.canRetry() ? "Please try again later"
                                      : "Please tell us: " + failure.providerError();
        }
    }

private:
    auth::COIDCHelper& m_helper;
    auth::UserRequest m_request;
};
