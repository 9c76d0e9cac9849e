// The tests of the OpenID conformance plan for relying parties (hybrid, form_post) that concern
// tokens, by their names there. docs/conformance.md says what they mean; what stands here is that
// page's column of outcomes.

#include "testing/SigningKey.h"
#include "testing/TestToken.h"
#include "tests/support/HybridFlow.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using auth::testing::Endpoint;
using auth::testing::SigningKey;
using auth::testing::TestProvider;
using auth::testing::TestToken;
using auth::testing::TokenKind;

constexpr auto id = TokenKind::Id;

struct Case {
    const char* name;
    const char* outcome;
    std::function<void(TestProvider&)> arrange;
};

std::string redeem(TestProvider& provider, auth::COIDCAuthHybrid& flow) {
    const std::string code = provider.issueCode({"client", "http://127.0.0.1/", "", "nonce", ""});
    return test::outcome([&] {
        const auto token =
            flow.requestTokenByAuthCodeAsync("client", "openid", "http://127.0.0.1/", "", code,
                                             Concurrency::cancellation_token::none())
                .get();
        return !token.accessToken().IsEmpty();
    });
}

const std::string refused = "id token validation failed";

std::vector<Case> cases() {
    const auto set = [](const char* name, const char* json) {
        return [=](TestProvider& p) { p.setClaim(id, name, json); };
    };
    const auto remove = [](const char* name) {
        return [=](TestProvider& p) { p.removeClaim(id, name); };
    };
    const auto algorithm = [](const char* json) {
        return [=](TestProvider& p) { p.setTokenHeader(id, "alg", json); };
    };
    const auto kidAbsent = [](TestProvider& p) { p.removeTokenHeader(id, "kid"); };
    return {
        {"oidcc-client-test", "accepted", [](auto&) {}},
        {"oidcc-client-test-idtoken-sig-rs256", "accepted", algorithm(R"("RS256")")},
        {"oidcc-client-test-idtoken-sig-none", refused.c_str(),
         [](auto& p) {
             TestToken token = p.token(id, "client", "nonce");
             token.setHeader("alg", R"("none")");
             p.setTokenText(id, token.unsecured());
         }},
        {"oidcc-client-test-invalid-iss", refused.c_str(),
         set("iss", R"("https://other.example")")},
        {"oidcc-client-test-invalid-aud", refused.c_str(), set("aud", R"("other")")},
        {"oidcc-client-test-missing-aud", refused.c_str(), remove("aud")},
        {"oidcc-client-test-missing-sub", "accepted", remove("sub")},
        {"oidcc-client-test-missing-iat", "accepted", remove("iat")},
        {"oidcc-client-test-kid-absent-single-jwks", "claim not found", kidAbsent},
        {"oidcc-client-test-kid-absent-multiple-jwks", "claim not found",
         [=](auto& p) {
             p.setSigningKeys({p.signingKey(), SigningKey::rsa("other")});
             kidAbsent(p);
         }},
        {"oidcc-client-test-invalid-sig-rs256", "failed to verify signature: VerifyFinal failed",
         [](auto& p) { p.signWith(id, SigningKey::rsa(p.signingKey().kid())); }},
        {"oidcc-client-test-invalid-sig-hs256", refused.c_str(),
         [](auto& p) {
             TestToken token = p.token(id, "client", "nonce");
             token.setHeader("alg", R"("HS256")");
             p.setTokenText(id, token.signedByHmac("another secret"));
         }},
        {"oidcc-client-test-invalid-sig-es256", refused.c_str(), algorithm(R"("ES256")")},
        {"oidcc-client-test-missing-c_hash", "accepted", remove("c_hash")},
        {"oidcc-client-test-invalid-c_hash", "accepted", set("c_hash", R"("AAAA")")},
        {"oidcc-client-test-missing-at_hash", "accepted", remove("at_hash")},
        {"oidcc-client-test-invalid-at_hash", "accepted", set("at_hash", R"("AAAA")")},
        {"oidcc-client-test-discovery-openid-config", "accepted", [](auto&) {}},
        {"oidcc-client-test-discovery-jwks-uri-keys", "accepted", [](auto&) {}},
    };
}

TEST(Conformance, EndsAsDocumented) {
    TestProvider provider;
    for (const Case& row : cases()) {
        provider.reset();
        row.arrange(provider);
        EXPECT_EQ(redeem(provider, *test::hybridFlow(provider)), row.outcome) << row.name;
    }
}

TEST(Conformance, ComparesTheNonceOfThePostedIdToken) {
    const TestProvider provider;
    const auto flow = test::hybridFlow(provider);
    const auto posted = [&](const char* nonce) {
        return auth::detail::decodeJwt(
            provider.token(id, "client", nonce).signedBy(provider.signingKey()));
    };
    // oidcc-client-test-nonce-invalid
    EXPECT_FALSE(flow->validateIdTokenClaims(posted("other"), "client", "nonce"));
    EXPECT_TRUE(flow->validateIdTokenClaims(posted("nonce"), "client", "nonce"));
}

TEST(Conformance, TakesTheIssuerFromTheConfiguration) {
    // oidcc-client-test-discovery-issuer-mismatch
    TestProvider provider;
    provider.setMember(Endpoint::Discovery, "issuer", R"("https://other.example")");
    const auto flow = test::hybridFlow(provider);
    EXPECT_EQ(redeem(provider, *flow), refused);
    provider.setClaim(id, "iss", R"("https://other.example")");
    provider.setClaim(TokenKind::Access, "iss", R"("https://other.example")");
    EXPECT_EQ(redeem(provider, *flow), "accepted");
}

TEST(Conformance, KnowsTheKeysOfItsConstruction) {
    TestProvider provider;
    const auto earlier = test::hybridFlow(provider);
    provider.rotateSigningKey();
    // oidcc-client-test-signing-key-rotation-just-before-signing
    EXPECT_EQ(redeem(provider, *earlier), refused);
    // oidcc-client-test-signing-key-rotation: every request has an object, and keys, of its own
    EXPECT_EQ(redeem(provider, *test::hybridFlow(provider)), "accepted");
}

}  // namespace
