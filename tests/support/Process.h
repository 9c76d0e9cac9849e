#pragma once

#include "tests/support/Application.h"

namespace test {

/// Of whatever process it is made in.
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

/// Each test has a process of its own, which ends with 0 when all is well.
class Process : public ::testing::Test {
protected:
    // Its tests begin in a process in which nothing has run.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static constexpr auto* nowhere = "http://127.0.0.1:1/";
};

}  // namespace test
