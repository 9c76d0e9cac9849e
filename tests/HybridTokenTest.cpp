#include "testing/SigningKey.h"
#include "tests/support/Refusals.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wide.h"

namespace {

using namespace std::chrono_literals;
using auth::COIDCAuthHybrid;
using auth::COIDCToken;
using auth::testing::SigningKey;
using Concurrency::task;
using namespace test;
using ::testing::ElementsAreArray;

const auto noToken = Concurrency::cancellation_token::none();
const std::string redirectUri = "http://127.0.0.1:8080/a b";
// RFC 7636, appendix B.
const std::string verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
const std::string challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

task<COIDCToken> redeem(TestProvider& provider, COIDCAuthHybrid& flow) {
    const std::string code = provider.issueCode({"client", redirectUri, challenge, "", "a b"});
    return flow.requestTokenByAuthCodeAsync("client", "b a", redirectUri.c_str(),
                                            to_string_t(verifier), to_string_t(code), noToken);
}

task<COIDCToken> refresh(TestProvider& provider, COIDCAuthHybrid& flow) {
    const std::string token = provider.issueRefreshToken("client");
    return flow.refreshTokenAsync("client", "b a", token.c_str(), noToken);
}

TEST(HybridToken, SendsExactlyThis) {
    TestProvider provider;
    provider.setMember(Endpoint::Discovery, "token_endpoint",
                       '"' + provider.tokenEndpoint() + "?x=1#part\"");
    const auto flow = hybridFlow(provider);
    EXPECT_NE(outcome(flow->requestTokenByAuthCodeAsync(
                  "my client", "scope", "http://127.0.0.1:80/\xC3\xA4?b=1&c",
                  to_string_t("ver-i_f.i~er"), to_string_t("c/o:d+e=&%"), noToken)),
              "accepted");
    EXPECT_NE(outcome(flow->refreshTokenAsync("client", "scope", "r/e:f+&", noToken)), "accepted");
    const std::vector<std::string> bodies = {
        "grant_type=authorization_code&code=c/o:d%2Be%3D%26%25"
        "&redirect_uri=http%3A%2F%2F127.0.0.1%3A80%2F%C3%A4%3Fb%3D1%26c"
        "&code_verifier=ver-i_f.i~er&client_id=my%20client",
        "grant_type=refresh_token&refresh_token=r/e:f%2B%26&client_id=client"};
    const auto requests = provider.requests(Endpoint::Token);
    ASSERT_EQ(requests.size(), bodies.size());
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        EXPECT_EQ(requests[i].body, bodies[i]);
        auto fields = formFields(bodies[i]);
        fields.emplace_back("Accept: application/json");
        EXPECT_EQ(linesOf(requests[i].head), headOf(provider, "POST /token", fields));
    }
}

TEST(HybridToken, IsRedeemedAndRefreshed) {
    TestProvider provider;
    TestClock clock;
    const auto now = std::chrono::system_clock::now() + 10min;  // ahead of the provider's clock
    clock.freezeAt(now);
    provider.setTokenLifetime(3600s);
    const auto log = std::make_shared<CapturedLog>();
    const auto flow = hybridFlow(provider, CapturedLog::loggerTo(log));
    const auto logged = [](const char* first, const char* last) {
        return ElementsAreArray(
            {first, "1 Extracting token...",  //
             "1 Validating JWT...", "1 Checking signature...", "1 JWT validated successfully.",
             "1 Validating id token claims...", "1 Id token claims validated successfully.",
             "1 Validating JWT...", "1 Checking signature...", "1 JWT validated successfully.",
             "1 Validating access token claims...", "1 Access token claims validated successfully.",
             "1 Access token extracted successfully.", last});
    };
    log->takeLines();

    COIDCToken redeemed = get(redeem(provider, *flow));
    EXPECT_THAT(log->takeLines(),
                logged("1 Requesting token using received auth code.",
                       "1 Token has been successfully requested using received auth code."));
    EXPECT_FALSE(redeemed.idToken().IsEmpty());
    EXPECT_EQ(redeemed.clientId(), CString("client"));
    EXPECT_EQ(redeemed.scopes(), CString("a b"));
    EXPECT_EQ(redeemed.expiresAt(),
              std::chrono::time_point_cast<COIDCToken::TimePoint::duration>(now) + 3600s);

    COIDCToken refreshed =
        get(flow->refreshTokenAsync("client", redeemed.scopes(), redeemed.refreshToken(), noToken));
    EXPECT_THAT(log->takeLines(),
                logged("1 Refreshing token...", "1 Token refreshed successfully."));
    EXPECT_NE(refreshed.accessToken(), redeemed.accessToken());
    EXPECT_NE(refreshed.refreshToken(), redeemed.refreshToken());
    EXPECT_EQ(outcome(flow->refreshTokenAsync("client", "a", redeemed.refreshToken(), noToken)),
              "pointer: unable to receive access token by refresh token");
}

TEST(HybridToken, NeedsNoRefreshToken) {
    TestProvider provider;
    const auto flow = hybridFlow(provider);
    provider.removeMember(Endpoint::Token, "refresh_token");
    EXPECT_TRUE(get(refresh(provider, *flow)).refreshToken().IsEmpty());
    for (const char* json : {"17", "null", "[\"token\"]"}) {
        provider.setMember(Endpoint::Token, "refresh_token", json);
        EXPECT_TRUE(get(redeem(provider, *flow)).refreshToken().IsEmpty()) << json;
    }
}

std::vector<Refusal> answerRefusals() {
    const auto id = TokenKind::Id;
    const auto access = TokenKind::Access;
    const auto answer = Endpoint::Token;
    const SigningKey other = SigningKey::rsa("other");
    const std::string missing = "Key not found";
    const std::string noId = "Unable to validate id token.";
    const std::string noAccess = "Unable to validate access token.";
    const std::string idText = "id token validation failed";
    const std::string accessText = "access token validation failed";
    const auto text = [](TokenKind kind, const std::string& token) {
        return [=](auto& p) { p.setTokenText(kind, token); };
    };
    std::vector<Refusal> rows = {
        {"no bearer token", member(answer, "token_type", R"("mac")"), "invalid token type",
         "Token type is not 'Bearer'."},
        {"no access token", noMember(answer, "access_token"), missing},
        {"no id token", noMember(answer, "id_token"), missing},
        {"no expiry, found before the id token is looked at",
         both(noMember(answer, "expires_in"), text(id, "none")), missing},
        {"id token is none", text(id, "a.b"), "invalid token supplied"},
        {"id token is opaque", text(id, "!.!.!"), "Invalid input"},
        {"id token of other algorithm", header(id, "alg", R"("none")"), idText,
         "Algorithm is invalid/not supported." + noId},
        {"id token of other client", claim(id, "aud", R"("other")"), idText,
         "Unable to find client id in audience in id token." + noId},
        {"id token of other key",
         [=](auto& p) { p.signWith(id, other.withKid(p.signingKey().kid())); },
         "failed to verify signature"},
        {"id token before access token",
         both(claim(id, "iss", R"("https://other.example")"), text(access, "none")), idText,
         "Unable to find issuer claim in id token." + noId},
        {"access token is opaque", text(access, "opaque"), "invalid token supplied"},
        {"access token of unknown key", header(access, "kid", R"("other")"), accessText,
         "Unable to recognize key id." + noAccess},
        {"access token of other client", noClaim(access, "client_id"), accessText,
         "Access token client id is missing or incorrect." + noAccess},
        {"expired access token", claim(access, "exp", "1"), "token expired"},
    };
    for (const char* const name : {"access_token", "id_token", "refresh_token"}) {
        rows.push_back({name, member(answer, name, "\"\xED\xA0\x80\""),
                        isWide ? "missing low surrogate" : "invalid Unicode code point"});
    }
    return rows;
}

TEST(HybridToken, NamesTheClaimsOfARefusedToken) {
    TestProvider provider;
    const auto flow = hybridFlow(provider);
    using namespace ::testing;
    for (const auto& [kind, name] : {std::pair{TokenKind::Id, "aud"}, {TokenKind::Access, "iss"}}) {
        provider.reset();
        provider.setClaim(kind, name, R"("secret")");
        const auto error = failure([&] { get(redeem(provider, *flow)); });
        EXPECT_EQ(error.kind(), auth::OIDCError::Kind::tokenRefused);
        EXPECT_EQ(error.missedClaim(), name);
        EXPECT_THAT(error.claims(), IsSupersetOf({"aud", "exp", "iat", "iss", "sub"}));
        EXPECT_THAT(error.claims(), Not(Contains(HasSubstr("secret"))));
    }
    provider.setTokenHeader(TokenKind::Access, "kid", R"("other")");
    for (int i = 0; i < 100; ++i) {
        provider.setClaim(TokenKind::Access, "\u001b" + std::to_string(i), "1");
    }
    provider.removeClaim(TokenKind::Access, "iss");
    const auto error = failure([&] { get(refresh(provider, *flow)); });
    EXPECT_EQ(error.missedClaim(), "kid");
    ASSERT_EQ(error.claims().size(), 64U);
    EXPECT_EQ(error.claims().front(), " 0");
}

TEST(HybridToken, RefusesAnswers) {
    auto rows = answerRefusals();
    auto refreshRows = rows;
    for (const unsigned status : {201U, 204U, 302U, 307U, 400U, 401U, 500U}) {
        const std::string code = '(' + std::to_string(status) + ')';
        const auto answers = [=](auto& p) {
            p.redirect(Endpoint::Token, status, p.tokenEndpoint() + "?again");
        };
        rows.push_back({code, answers, "unable to receive access token by auth code",
                        "Unable to request token using received auth code. Unexpected response " +
                            code + " received."});
        refreshRows.push_back(
            {code, answers, "pointer: unable to receive access token by refresh token",
             "Unable to refresh token, unexpected response " + code + " received."});
    }
    expectRefusals(rows, 3, [](auto& provider, auto& logger) {
        get(redeem(provider, *hybridFlow(provider, logger)));
    });
    expectRefusals(refreshRows, 3, [](auto& provider, auto& logger) {
        get(refresh(provider, *hybridFlow(provider, logger)));
    });
}

TEST(HybridToken, FailsInItsTaskWhenNothingCanBeSent) {
    TestProvider provider;
    const auto requests = [&](const CString& text) {
        const auto flow = hybridFlow(provider);
        task<COIDCToken> refreshed;
        task<COIDCToken> redeemed;
        EXPECT_NO_THROW(refreshed = flow->refreshTokenAsync("client", "", text, noToken));
        EXPECT_NO_THROW(redeemed = flow->requestTokenByAuthCodeAsync("client", "", text,
                                                                     to_string_t(verifier),
                                                                     to_string_t("code"), noToken));
        EXPECT_THROW(get(refreshed), std::exception);
        EXPECT_THROW(get(redeemed), std::exception);
    };
    requests(CString(CString::String{0xD800}));  // half a surrogate pair
    for (const char* const url : {R"("not a url")", R"("ftp://127.0.0.1/")", R"("/path")"}) {
        provider.setMember(Endpoint::Discovery, "token_endpoint", url);
        requests("text");
    }
    EXPECT_TRUE(provider.requests(Endpoint::Token).empty());
}

}  // namespace
