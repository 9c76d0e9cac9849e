#pragma once

#include "auth/COIDCAuthHybrid.h"
#include "testing/TestProvider.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Outcome.h"

#include <memory>

namespace test {

inline auth::OIDCFlowSettings flowSettings() {
    return {"code id_token", "form_post", "authorization_code", "refresh_token", "RS256", "S256"};
}

/// The protocol object, configured by this provider.
inline std::unique_ptr<auth::COIDCAuthHybrid> hybridFlow(
    const auth::testing::TestProvider& provider, const auth::detail::LoggerPtr& logger = nullptr) {
    return std::make_unique<auth::COIDCAuthHybrid>(provider.configUrl(), logger, flowSettings());
}

}  // namespace test
