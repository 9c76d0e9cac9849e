#pragma once

#include "auth/COIDCAuthHybrid.h"
#include "auth/OIDCError.h"
#include "testing/TestProvider.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Outcome.h"

namespace test {

inline auth::OIDCFlowSettings flowSettings() {
    return {"code id_token", "form_post", "authorization_code", "refresh_token", "RS256", "S256"};
}

/// The protocol object, configured by this provider.
inline std::unique_ptr<auth::COIDCAuthHybrid> hybridFlow(
    const auth::testing::TestProvider& provider, const auth::detail::LoggerPtr& logger = nullptr) {
    return std::make_unique<auth::COIDCAuthHybrid>(provider.configUrl(), logger, flowSettings());
}

/// The failure of an action, as a program sees it.
template <class Action>
auth::OIDCError failure(Action action) {
    try {
        action();
        // A refused refresh is thrown as a pointer.
        // NOLINTNEXTLINE(cert-err09-cpp,cert-err61-cpp,misc-throw-by-value-catch-by-reference)
    } catch (const auth::OIDCError* error) {
        return *std::unique_ptr<const auth::OIDCError>(error);
    } catch (...) {
        return auth::OIDCError::of(std::current_exception());
    }
    return {auth::OIDCError::Kind::other, "accepted"};
}

}  // namespace test
