// The tests of the OpenID conformance plan for relying parties (hybrid, form_post) that concern
// tokens, by their names there. docs/conformance.md explains them; the outcomes here are that
// page's column of outcomes. Its nonce-invalid is a row of HybridFlowTest.

#include "testing/SigningKey.h"
#include "tests/support/Refusals.h"
#include "tests/support/Wide.h"

namespace {

using auth::testing::SigningKey;
using auth::testing::TestToken;
using namespace test;

constexpr auto id = TokenKind::Id;

std::string redeem(TestProvider& provider, auth::COIDCAuthHybrid& flow) {
    const std::string code = provider.issueCode({"client", "http://127.0.0.1/", "", "nonce", ""});
    return outcome(flow.requestTokenByAuthCodeAsync("client", "openid", "http://127.0.0.1/", {},
                                                    to_string_t(code),
                                                    Concurrency::cancellation_token::none()));
}

TEST(Conformance, EndsAsDocumented) {
    const std::string refused = "id token validation failed";
    const auto nothing = [](auto&) {};
    const auto unsecured = [](auto& p) {
        TestToken token = p.token(id, "client", "nonce");
        p.setTokenText(id, token.setHeader("alg", R"("none")").unsecured());
    };
    const auto hmac = [](auto& p) {
        TestToken token = p.token(id, "client", "nonce");
        p.setTokenText(id, token.setHeader("alg", R"("HS256")").signedByHmac("another secret"));
    };
    const auto kidAbsent = [](auto& p) { p.removeTokenHeader(id, "kid"); };
    const SigningKey other = SigningKey::rsa("other");
    const auto kidAbsentOfTwo = [&](auto& p) {
        p.setSigningKeys({p.signingKey(), other});
        p.removeTokenHeader(id, "kid");
    };
    const auto otherKey = [&](auto& p) { p.signWith(id, other.withKid(p.signingKey().kid())); };
    const auto otherIssuer = [](auto& p) {
        p.setMember(Endpoint::Discovery, "issuer", R"("https://other.example")");
        p.setClaim(id, "iss", R"("https://other.example")");
        p.setClaim(TokenKind::Access, "iss", R"("https://other.example")");
    };
    const auto rotate = [](auto& p) { p.rotateSigningKey(); };
    struct Row {
        const char* name;
        std::string outcome;
        Arrange arrange;
        Arrange afterConfiguration = [](auto&) {};
    };
    const std::vector<Row> rows = {
        {"", "accepted", nothing},
        {"idtoken-sig-rs256", "accepted", header(id, "alg", R"("RS256")")},
        {"idtoken-sig-none", refused, unsecured},
        {"invalid-iss", refused, claim(id, "iss", R"("https://other.example")")},
        {"invalid-aud", refused, claim(id, "aud", R"("other")")},
        {"missing-aud", refused, noClaim(id, "aud")},
        {"missing-sub", "accepted", noClaim(id, "sub")},
        {"missing-iat", "accepted", noClaim(id, "iat")},
        {"kid-absent-single-jwks", "claim not found", kidAbsent},
        {"kid-absent-multiple-jwks", "claim not found", kidAbsentOfTwo},
        {"invalid-sig-rs256", "failed to verify signature: VerifyFinal failed", otherKey},
        {"invalid-sig-hs256", refused, hmac},
        {"invalid-sig-es256", refused, header(id, "alg", R"("ES256")")},
        {"missing-c_hash", "accepted", noClaim(id, "c_hash")},
        {"invalid-c_hash", "accepted", claim(id, "c_hash", R"("AAAA")")},
        {"missing-at_hash", "accepted", noClaim(id, "at_hash")},
        {"invalid-at_hash", "accepted", claim(id, "at_hash", R"("AAAA")")},
        {"discovery-openid-config", "accepted", nothing},
        {"discovery-jwks-uri-keys", "accepted", nothing},
        {"discovery-issuer-mismatch", "accepted", otherIssuer},
        {"signing-key-rotation", "accepted", rotate},
        {"signing-key-rotation-just-before-signing", refused, nothing, rotate},
    };
    TestProvider provider;
    for (const Row& row : rows) {
        provider.reset();
        row.arrange(provider);
        const auto flow = hybridFlow(provider);
        row.afterConfiguration(provider);
        EXPECT_EQ(redeem(provider, *flow), row.outcome) << row.name;
    }
}

}  // namespace
