#pragma once

#include "tests/support/Application.h"

namespace test {

/// Belongs to the process in which it is created.
struct Requests : Application {
    explicit Requests(const std::string& provider) : configUrl(provider) {}

    void store(std::chrono::hours lifetime) const {
        content->bytes = recordWith({"openid"}, lifetime).bytes();
    }
    task<COIDCToken> ofAUser(bool authRequested = false) const {
        return helper->getOIDCTokenHybridAsync(configUrl, "client", "openid", {freeRedirectUrl()},
                                               0, cancellation_token::none(), authRequested);
    }
    task<CString> ofAService() const {
        return helper->getAccessTokenClientCredentialsAsync(configUrl, "client", "secret", "openid",
                                                            0, cancellation_token::none());
    }

    const CString configUrl;
};

/// Each test runs in its own process, which ends with 0 on success.
class Process : public ::testing::Test {
protected:
    // Its tests start in a new process in which nothing has run.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static constexpr auto* nowhere = "http://127.0.0.1:1/";
};

}  // namespace test
