// The tests of Account.h. Provider and browser run inside the test, which controls them.

#include "Account.h"
#include "testing/TestBrowser.h"
#include "testing/TestProvider.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <mutex>

namespace {

using auth::testing::Endpoint;
using auth::testing::TestProvider;

class MemoryStore final : public ISecretStore<auth::COIDCToken> {
public:
    void clear() override { write({}); }
    void read(std::vector<std::uint8_t>& bytes, bool /*reread*/) override {
        const std::lock_guard lock(m_mutex);
        bytes = m_bytes;
    }
    void write(const std::vector<std::uint8_t>& bytes) override {
        const std::lock_guard lock(m_mutex);
        m_bytes = bytes;
    }

private:
    std::mutex m_mutex;
    std::vector<std::uint8_t> m_bytes;
};

class AccountTest : public testing::Test {
protected:
    AccountTest() {
        m_helper.setBrowserOpener([this](const CString& page) {
            ++signIns;
            m_browser =
                std::async(std::launch::async, [page] { auth::testing::signIn(page.toUtf8()); });
            return true;
        });
    }

    static auth::UserRequest request(const TestProvider& provider) {
        auth::UserRequest request;
        request.configUrl = provider.configUrl();
        request.clientId = "notes";
        request.scopes = "openid";
        request.redirectUrls = {"http://127.0.0.1:48123/callback",
                                "http://127.0.0.1:51739/callback"};
        request.minValidity = std::chrono::minutes(5);
        return request;
    }

    TestProvider provider;
    int signIns = 0;

private:
    auth::COIDCHelper m_helper{std::make_unique<MemoryStore>(),
                               auth::COIDCHelper::makeExclusivePermit(), nullptr};
    std::future<void> m_browser;  // its destructor waits for the user's page

protected:
    Account account{m_helper, request(provider)};
};

TEST_F(AccountTest, GreetsWhomeverHasSignedIn) {
    EXPECT_EQ(account.greeting(false), "Please sign in");
    EXPECT_EQ(signIns, 0);
    provider.setClaim(auth::testing::TokenKind::Id, "sub", R"("ada")");
    provider.setClaim(auth::testing::TokenKind::AuthorizationId, "sub", R"("ada")");
    EXPECT_EQ(account.greeting(true), "Hello, ada");
    EXPECT_EQ(account.greeting(false), "Hello, ada");
    EXPECT_EQ(provider.requests(Endpoint::Token).size(), 1U);
}

TEST_F(AccountTest, RefreshesATokenThatExpires) {
    provider.setTokenLifetime(std::chrono::minutes(1));  // shorter than the requested validity
    account.greeting(true);
    account.greeting(true);
    EXPECT_EQ(signIns, 1);
    const auto requests = provider.requests(Endpoint::Token);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests.back().field("grant_type"), "refresh_token");

    provider.setStatus(Endpoint::Token, 503);
    EXPECT_EQ(account.greeting(false), "Please try again later");
}

TEST_F(AccountTest, SaysWhyTheProviderRefuses) {
    provider.removeMember(Endpoint::Authorization, "code");
    provider.setMember(Endpoint::Authorization, "error", "access_denied");
    EXPECT_EQ(account.greeting(true), "You did not let us in");
    provider.reset(Endpoint::Authorization);
    provider.setDocument(Endpoint::Token, R"({"error": "unauthorized_client"})");
    provider.setStatus(Endpoint::Token, 400);
    EXPECT_EQ(account.greeting(true), "Please tell us: unauthorized_client");
}

}  // namespace
