#include "host/standalone/RefreshTokenKeeper.h"
#include "testing/TestProvider.h"
#include "tests/support/Application.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Test.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/User.h"

namespace {

using namespace std::chrono_literals;
using Keeper = standalone::RefreshTokenKeeper<auth::COIDCToken>;
using auth::testing::Endpoint;
using auth::testing::TestToken;

TestToken idToken(const std::string& issuer, const std::string& subject) {
    return TestToken().setClaim("iss", '"' + issuer + '"').setClaim("sub", '"' + subject + '"');
}

struct Records {
    test::TokenRecord earlier;
    test::TokenRecord received;
};

Records ofOneGrant() {
    Records records;
    for (auto* record : {&records.earlier, &records.received}) {
        record->scopes = {"openid", "read"};
        record->idToken = idToken("https://id", "ada").unsecured();
    }
    records.earlier.accessToken = "old";
    records.received.refreshToken = "";
    records.received.expiresAt += 1h;
    return records;
}

std::vector<test::Row<Records>> rows() {
    const auto both = [](Records& records, const TestToken& token) {
        records.earlier.idToken = records.received.idToken = token.unsecured();
    };
    std::vector<test::Row<Records>> all = {
        {"the same grant", [](auto&) {}, "refresh"},
        {"scopes in another order",
         [](auto& r) {
             r.earlier.scopes = {"read", "openid"};
         },
         "refresh"},
        {"one of its own", [](auto& r) { r.received.refreshToken = "new"; }, "new"},
        {"none before", [](auto& r) { r.earlier.refreshToken = ""; }, ""},
        {"more scopes before", [](auto& r) { r.earlier.scopes.emplace_back("write"); }, ""},
        {"more scopes now", [](auto& r) { r.received.scopes.emplace_back("write"); }, ""},
        {"before there were ID tokens", [](auto& r) { r.earlier.fileVersion = 457; }, ""},
        {"no ID tokens", [](auto& r) { r.earlier.idToken = r.received.idToken = ""; }, ""},
        {"no subjects", [=](auto& r) { both(r, idToken("https://id", "ada").removeClaim("sub")); },
         ""},
        {"subjects that are no texts",
         [=](auto& r) { both(r, idToken("https://id", "ada").setClaim("sub", "5")); }, ""},
    };
    for (const auto& [name, spoil] : test::nearMisses()) {
        const auto add = [&, miss = std::string(name)](const char* what, auto change) {
            all.push_back({what + (": " + miss), change, ""});
        };
        add("client",
            [spoil = spoil](Records& r) { r.received.clientId = spoil(r.earlier.clientId); });
        add("scope", [spoil = spoil](Records& r) { r.received.scopes[1] = spoil("read"); });
        add("subject", [spoil = spoil](Records& r) {
            r.received.idToken = idToken("https://id", spoil("ada")).unsecured();
        });
        add("issuer", [spoil = spoil](Records& r) {
            r.received.idToken = idToken(spoil("https://id"), "ada").unsecured();
        });
    }
    return all;
}

TEST(RefreshTokenKeeper, KeepsThatOfTheSameGrantAndNothingElse) {
    const auto content = std::make_shared<test::StoreContent>();
    Keeper keeper(std::make_shared<test::MemoryStore>(content));
    for (const auto& row : rows()) {
        Records records = ofOneGrant();
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
    const auto received = ofOneGrant().received.bytes();
    auto cut = ofOneGrant().earlier.bytes();
    cut.pop_back();
    for (const auto& present : {std::vector<std::uint8_t>(), cut}) {
        content->put(present);
        keeper.writeRefreshed(received);
        EXPECT_EQ(content->bytes, received);
    }
    content->put(ofOneGrant().earlier.bytes());
    keeper.writeRefreshed(cut);
    EXPECT_EQ(content->bytes, cut);

    content->put(ofOneGrant().earlier.bytes());
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
