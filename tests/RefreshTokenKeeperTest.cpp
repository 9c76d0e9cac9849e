#include "host/standalone/RefreshTokenKeeper.h"
#include "testing/TestProvider.h"
#include "tests/support/Application.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Test.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/User.h"

namespace {

using Keeper = standalone::RefreshTokenKeeper<auth::COIDCToken>;
using auth::testing::Endpoint;

std::string idToken(const std::string& issuer, const std::string& subject) {
    return auth::testing::TestToken()
        .setClaim("iss", '"' + issuer + '"')
        .setClaim("sub", subject)
        .unsecured();
}

struct Records {
    test::TokenRecord earlier{"old",    "refresh",          {},
                              "client", {"openid", "read"}, ofUser("\"ada\"")};
    test::TokenRecord received{"new", "", {}, "client", {"openid", "read"}, ofUser("\"ada\"")};

    static std::string ofUser(const std::string& subject) { return idToken("https://id", subject); }
    void setUsers(const std::string& subject) {
        earlier.idToken = received.idToken = ofUser(subject);
    }
};

std::vector<test::Row<Records>> rows() {
    std::vector<test::Row<Records>> all = {
        {"the same grant", [](auto&) {}, "refresh"},
        {"one of its own", [](auto& r) { r.received.refreshToken = "own"; }, "own"},
        {"none before", [](auto& r) { r.earlier.refreshToken = ""; }, ""},
        {"more scopes before", [](auto& r) { r.earlier.scopes.emplace_back("write"); }, ""},
        {"more scopes now", [](auto& r) { r.received.scopes.emplace_back("write"); }, ""},
        {"no subjects", [](auto& r) { r.setUsers("null"); }, ""},
        {"subjects that are no texts", [](auto& r) { r.setUsers("5"); }, ""},
    };
    for (const auto& miss : test::nearMisses()) {
        const auto& spoil = miss.second;
        const auto add = [&](const char* what, std::function<void(Records&)> change) {
            all.push_back({std::string(what) + ": " + miss.first, std::move(change), ""});
        };
        add("client", [&](auto& r) { r.received.clientId = spoil("client"); });
        add("scope", [&](auto& r) { r.received.scopes[1] = spoil("read"); });
        add("subject", [&](auto& r) { r.received.idToken = r.ofUser('"' + spoil("ada") + '"'); });
        add("issuer",
            [&](auto& r) { r.received.idToken = idToken(spoil("https://id"), "\"ada\""); });
    }
    return all;
}

TEST(RefreshTokenKeeper, KeepsThatOfTheSameGrantAndNothingElse) {
    const auto content = std::make_shared<test::StoreContent>();
    Keeper keeper(std::make_shared<test::MemoryStore>(content));
    for (const auto& row : rows()) {
        Records records;
        row.change(records);
        content->put(records.earlier.bytes());
        keeper.writeRefreshed(records.received.bytes());
        EXPECT_TRUE(content->rereadFlags.empty() || content->rereadFlags.back()) << row.name;
        records.received.refreshToken = row.outcome;
        EXPECT_EQ(content->bytes, records.received.bytes()) << row.name;

        records.received.refreshToken = "";
        content->put(records.earlier.bytes());
        keeper.write(records.received.bytes());
        EXPECT_EQ(content->bytes, records.received.bytes()) << row.name << ", a sign-in";
    }
}

TEST(RefreshTokenKeeper, PassesOnWhatItCannotRead) {
    const auto content = std::make_shared<test::StoreContent>();
    Keeper keeper(std::make_shared<test::MemoryStore>(content));
    const auto received = Records().received.bytes();
    auto cut = Records().earlier.bytes();
    cut.pop_back();
    for (const auto& present : {std::vector<std::uint8_t>(), cut}) {
        content->put(present);
        keeper.writeRefreshed(received);
        EXPECT_EQ(content->bytes, received);
    }
    content->put(Records().earlier.bytes());
    keeper.writeRefreshed(cut);
    EXPECT_EQ(content->bytes, cut);

    content->put(Records().earlier.bytes());
    content->readFailure = std::make_exception_ptr(std::runtime_error("disk"));
    keeper.writeRefreshed(received);
    EXPECT_EQ(content->bytes, received);
    std::vector<std::uint8_t> bytes;
    EXPECT_THROW(keeper.read(bytes, false), std::runtime_error);
    content->readFailure = nullptr;
    keeper.read(bytes, false);
    EXPECT_EQ(bytes, received);
    EXPECT_FALSE(content->rereadFlags.back());
    content->writeFailure = std::make_exception_ptr(std::runtime_error("disk"));
    EXPECT_THROW(keeper.writeRefreshed(received), std::runtime_error);
    keeper.clear();
    EXPECT_TRUE(content->bytes.empty());
}

/// A refresh, and a sign-in of the same user while another process stores a refresh token.
TEST(RefreshTokenKeeper, IsToldWhatComesFromARefresh) {
    auth::testing::TestProvider provider;
    test::Application application;
    const auto& content = application.content;
    const CString redirectUrl = test::freeRedirectUrl();
    test::TokenRecord earlier;
    earlier.scopes = {"openid"};
    earlier.refreshToken = provider.issueRefreshToken("client");
    earlier.idToken =
        provider.token(auth::testing::TokenKind::Id, "client").signedBy(provider.signingKey());
    test::User user([&](const std::string& url) {
        content->put(earlier.bytes());
        auth::testing::signIn(url);
    });
    auth::COIDCHelper helper(std::make_unique<Keeper>(std::make_shared<test::MemoryStore>(content)),
                             application.permit, nullptr);
    helper.setBrowserOpener(user.opener());
    provider.removeMember(Endpoint::Token, "refresh_token");
    for (const bool refreshes : {true, false}) {
        content->put(refreshes ? earlier.bytes() : std::vector<std::uint8_t>());
        const auto token = test::get(
            helper.getOIDCTokenHybridAsync(provider.configUrl(), "client", "openid", {redirectUrl},
                                           0, Concurrency::cancellation_token::none(), true));
        EXPECT_TRUE(token.refreshToken().IsEmpty());
        EXPECT_EQ(content->bytes,
                  test::store(token.withRefreshToken(refreshes ? earlier.refreshToken : "")));
    }
    EXPECT_EQ(user.urls().size(), 1U);
    helper.signOut();
    EXPECT_TRUE(content->bytes.empty());
}

}  // namespace
