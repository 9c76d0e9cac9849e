#include "testing/SigningKey.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/TestClock.h"

#include <cpprest/version.h>
#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using auth::COIDCAuthHybrid;
using auth::COIDCToken;
using auth::testing::Endpoint;
using auth::testing::SigningKey;
using auth::testing::TestProvider;
using auth::testing::TokenKind;
using test::LogLine;
using ::testing::HasSubstr;

const auto noToken = Concurrency::cancellation_token::none();
const std::string redirectUri = "http://127.0.0.1:8080/a b";
// RFC 7636, appendix B.
const std::string verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
const std::string challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

COIDCToken redeem(TestProvider& provider, COIDCAuthHybrid& flow) {
    const std::string code = provider.issueCode({"client", redirectUri, challenge, "", "a b"});
    return flow
        .requestTokenByAuthCodeAsync("client", "b a", redirectUri.c_str(), verifier, code, noToken)
        .get();
}

COIDCToken refresh(TestProvider& provider, COIDCAuthHybrid& flow) {
    const std::string token = provider.issueRefreshToken("client");
    return flow.refreshTokenAsync("client", "b a", token.c_str(), noToken).get();
}

TEST(HybridToken, SendsExactlyThis) {
    TestProvider provider;
    provider.setMember(Endpoint::Discovery, "token_endpoint",
                       '"' + provider.tokenEndpoint() + "?x=1#part\"");
    const auto flow = test::hybridFlow(provider);
    EXPECT_ANY_THROW(flow->requestTokenByAuthCodeAsync("my client", "scope",
                                                       "http://127.0.0.1:80/\xC3\xA4?b=1&c",
                                                       "ver-i_f.i~er", "c/o:d+e=&%", noToken)
                         .get());
    EXPECT_THAT(test::outcome([&] {
                    flow->refreshTokenAsync("client", "scope", "r/e:f+&", noToken).get();
                    return true;
                }),
                HasSubstr("pointer: "));
    const std::vector<std::string> bodies = {
        "grant_type=authorization_code&code=c/o:d%2Be%3D%26%25"
        "&redirect_uri=http%3A%2F%2F127.0.0.1%3A80%2F%C3%A4%3Fb%3D1%26c"
        "&code_verifier=ver-i_f.i~er&client_id=my%20client",
        "grant_type=refresh_token&refresh_token=r/e:f%2B%26&client_id=client"};
    const auto requests = provider.requests(Endpoint::Token);
    ASSERT_EQ(requests.size(), bodies.size());
    const std::string version = std::to_string(CPPREST_VERSION_MAJOR) + '.' +
                                std::to_string(CPPREST_VERSION_MINOR) + '.' +
                                std::to_string(CPPREST_VERSION_REVISION);
    for (std::size_t i = 0; i < bodies.size(); ++i) {
        EXPECT_EQ(requests[i].body, bodies[i]);
        EXPECT_EQ(requests[i].head,
                  "POST /token HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(provider.port()) +
                      "\r\nAccept:application/json\r\nContent-Length:" +
                      std::to_string(bodies[i].size()) +
                      "\r\nContent-Type:application/x-www-form-urlencoded\r\nUser-Agent:"
                      "cpprestsdk/" +
                      version + "\r\nConnection: Keep-Alive\r\n\r\n");
    }
}

TEST(HybridToken, IsRedeemedAndRefreshed) {
    TestProvider provider;
    test::TestClock clock;
    // Ahead of the provider's clock for as long as this test may take.
    const auto now = std::chrono::system_clock::now() + 10min;
    clock.freezeAt(now);
    provider.setTokenLifetime(3600s);
    const auto log = std::make_shared<test::CapturedLog>();
    const auto flow = test::hybridFlow(provider, test::CapturedLog::loggerTo(log));
    const std::vector<LogLine> validating = {
        {1, "Validating JWT..."}, {1, "Checking signature..."}, {1, "JWT validated successfully."}};
    const auto logged = [&](const char* first, const char* last) {
        std::vector<LogLine> lines = {{1, first}, {1, "Extracting token..."}};
        lines.insert(lines.end(), validating.begin(), validating.end());
        lines.push_back({1, "Validating id token claims..."});
        lines.push_back({1, "Id token claims validated successfully."});
        lines.insert(lines.end(), validating.begin(), validating.end());
        lines.push_back({1, "Validating access token claims..."});
        lines.push_back({1, "Access token claims validated successfully."});
        lines.push_back({1, "Access token extracted successfully."});
        lines.push_back({1, last});
        return lines;
    };
    log->takeLines();

    COIDCToken redeemed = redeem(provider, *flow);
    EXPECT_EQ(log->takeLines(),
              logged("Requesting token using received auth code.",
                     "Token has been successfully requested using received auth code."));
    EXPECT_FALSE(redeemed.idToken().IsEmpty());
    EXPECT_EQ(redeemed.clientId(), CString("client"));
    EXPECT_EQ(redeemed.scopes(), CString("a b"));
    EXPECT_EQ(redeemed.expiresAt(),
              std::chrono::time_point_cast<COIDCToken::TimePoint::duration>(now) + 3600s);

    COIDCToken refreshed =
        flow->refreshTokenAsync("client", redeemed.scopes(), redeemed.refreshToken(), noToken)
            .get();
    EXPECT_EQ(log->takeLines(), logged("Refreshing token...", "Token refreshed successfully."));
    EXPECT_NE(refreshed.accessToken(), redeemed.accessToken());
    EXPECT_NE(refreshed.refreshToken(), redeemed.refreshToken());

    EXPECT_EQ(test::outcome([&] {
                  flow->refreshTokenAsync("client", "a", redeemed.refreshToken(), noToken).get();
                  return true;
              }),
              "pointer: unable to receive access token by refresh token");
    EXPECT_EQ(log->textAt(4), "Unable to refresh token, unexpected response (400) received.");
}

TEST(HybridToken, NeedsNoRefreshToken) {
    TestProvider provider;
    const auto flow = test::hybridFlow(provider);
    provider.removeMember(Endpoint::Token, "refresh_token");
    EXPECT_TRUE(refresh(provider, *flow).refreshToken().IsEmpty());
    for (const char* json : {"17", "null", "[\"token\"]"}) {
        provider.setMember(Endpoint::Token, "refresh_token", json);
        EXPECT_TRUE(redeem(provider, *flow).refreshToken().IsEmpty()) << json;
    }
}

struct Refusal {
    const char* name;
    std::function<void(TestProvider&)> arrange;
    std::string text;    // part of the exception's text
    std::string errors;  // the lines at level 4
};

std::vector<Refusal> answerRefusals() {
    const auto id = TokenKind::Id;
    const auto access = TokenKind::Access;
    const auto halfPair = [](const char* name) {
        return [=](auto& p) { p.setMember(Endpoint::Token, name, "\"\xED\xA0\x80\""); };
    };
    const std::string notUtf8 = "invalid Unicode code point";
    const std::string noId = "Unable to validate id token.";
    const std::string noAccess = "Unable to validate access token.";
    const std::string idText = "id token validation failed";
    const std::string accessText = "access token validation failed";
    const auto remove = [](const char* name) {
        return [=](TestProvider& p) { p.removeMember(Endpoint::Token, name); };
    };
    return {
        {"token type in lower case",
         [](auto& p) { p.setMember(Endpoint::Token, "token_type", R"("bearer")"); },
         "invalid token type", "Token type is not 'Bearer'."},
        {"no access token", remove("access_token"), "Key not found", ""},
        {"no id token", remove("id_token"), "Key not found", ""},
        {"half a surrogate in the access token", halfPair("access_token"), notUtf8, ""},
        {"half a surrogate in the id token", halfPair("id_token"), notUtf8, ""},
        {"half a surrogate in the refresh token", halfPair("refresh_token"), notUtf8, ""},
        {"no expiry", remove("expires_in"), "Key not found", ""},
        {"no expiry, found before the id token is looked at",
         [=](auto& p) {
             remove("expires_in")(p);
             p.setTokenText(id, "none");
         },
         "Key not found", ""},
        {"no JSON by its type", [](auto& p) { p.setContentType(Endpoint::Token, "text/html"); },
         "Incorrect Content-Type", ""},
        {"id token is none", [=](auto& p) { p.setTokenText(id, "a.b"); }, "invalid token supplied",
         ""},
        {"id token is opaque", [=](auto& p) { p.setTokenText(id, "!.!.!"); }, "Invalid input", ""},
        {"id token of other algorithm", [=](auto& p) { p.setTokenHeader(id, "alg", R"("none")"); },
         idText, "Algorithm is invalid/not supported." + noId},
        {"id token of other client", [=](auto& p) { p.setClaim(id, "aud", R"("other")"); }, idText,
         "Unable to find client id in audience in id token." + noId},
        {"id token of other key",
         [=](auto& p) { p.signWith(id, SigningKey::rsa(p.signingKey().kid())); },
         "failed to verify signature", ""},
        {"id token before access token",
         [=](auto& p) {
             p.setClaim(id, "iss", R"("https://other.example")");
             p.setTokenText(access, "none");
         },
         idText, "Unable to find issuer claim in id token." + noId},
        {"access token is opaque", [=](auto& p) { p.setTokenText(access, "opaque"); },
         "invalid token supplied", ""},
        {"access token of unknown key",
         [=](auto& p) { p.setTokenHeader(access, "kid", R"("other")"); }, accessText,
         "Unable to recognize key id." + noAccess},
        {"access token of other client", [=](auto& p) { p.removeClaim(access, "client_id"); },
         accessText, "Access token client id is missing or incorrect." + noAccess},
        {"expired access token", [=](auto& p) { p.setClaim(access, "exp", "1"); }, "token expired",
         ""},
    };
}

TEST(HybridToken, NamesTheClaimsOfARefusedToken) {
    TestProvider provider;
    const auto flow = test::hybridFlow(provider);
    const auto refused = [&](TokenKind kind, const std::string& name, const std::string& json) {
        provider.reset();
        provider.setClaim(kind, name, json);
        return test::failure([&] { redeem(provider, *flow); });
    };
    for (const auto& [kind, name] : {std::pair{TokenKind::Id, "aud"}, {TokenKind::Access, "iss"}}) {
        const auto error = refused(kind, name, R"("secret")");
        EXPECT_EQ(error.kind(), auth::OIDCError::Kind::tokenRefused);
        EXPECT_EQ(error.missedClaim(), name);
        EXPECT_THAT(error.claims(), ::testing::IsSupersetOf({"aud", "exp", "iat", "iss", "sub"}));
        EXPECT_THAT(error.claims(), ::testing::Not(::testing::Contains(HasSubstr("secret"))));
    }
    provider.setTokenHeader(TokenKind::Access, "kid", R"("other")");
    for (int i = 0; i < 100; ++i) {
        provider.setClaim(TokenKind::Access, "\u001b" + std::to_string(i), "1");
    }
    provider.removeClaim(TokenKind::Access, "iss");
    const auto error = test::failure([&] { refresh(provider, *flow); });
    EXPECT_EQ(error.missedClaim(), "kid");
    ASSERT_EQ(error.claims().size(), 64U);
    EXPECT_EQ(error.claims().front(), " 0");
}

TEST(HybridToken, RefusesAnswers) {
    TestProvider provider;
    const auto log = std::make_shared<test::CapturedLog>();
    const auto logging = test::hybridFlow(provider, test::CapturedLog::loggerTo(log));
    const auto silent = test::hybridFlow(provider);
    for (const Refusal& row : answerRefusals()) {
        SCOPED_TRACE(row.name);
        for (const auto& get : {redeem, refresh}) {
            for (COIDCAuthHybrid* const flow : {logging.get(), silent.get()}) {
                provider.reset();
                row.arrange(provider);
                log->takeLines();
                const auto before = provider.requests().size();
                EXPECT_THAT(test::outcome([&] {
                                get(provider, *flow);
                                return true;
                            }),
                            HasSubstr(row.text));
                EXPECT_EQ(provider.requests().size() - before, 1U);
                EXPECT_EQ(log->textAt(4), flow == logging.get() ? row.errors : "");
            }
        }
    }
}

TEST(HybridToken, FailsInItsTaskWhenNothingCanBeSent) {
    TestProvider provider;
    const CString halfPair(CString::String{0xD800});
    const auto requests = [&](const CString& text) {
        const auto flow = test::hybridFlow(provider);
        Concurrency::task<COIDCToken> refreshed;
        Concurrency::task<COIDCToken> redeemed;
        EXPECT_NO_THROW(refreshed = flow->refreshTokenAsync("client", "", text, noToken));
        EXPECT_NO_THROW(redeemed = flow->requestTokenByAuthCodeAsync("client", "", text, verifier,
                                                                     "code", noToken));
        EXPECT_THROW(refreshed.get(), std::exception);
        EXPECT_THROW(redeemed.get(), std::exception);
    };
    requests(halfPair);
    for (const char* const url : {R"("not a url")", R"("ftp://127.0.0.1/")", R"("/path")"}) {
        provider.setMember(Endpoint::Discovery, "token_endpoint", url);
        requests("text");
    }
    EXPECT_TRUE(provider.requests(Endpoint::Token).empty());
}

TEST(HybridToken, RefusesEveryStatusButOne) {
    TestProvider provider;
    const auto log = std::make_shared<test::CapturedLog>();
    const auto flow = test::hybridFlow(provider, test::CapturedLog::loggerTo(log));
    for (const unsigned status : {201U, 204U, 302U, 307U, 400U, 401U, 500U}) {
        provider.redirect(Endpoint::Token, status, provider.tokenEndpoint() + "?again");
        const auto before = provider.requests().size();
        const std::string code = std::to_string(status);
        log->takeLines();
        EXPECT_EQ(test::outcome([&] { return redeem(provider, *flow), true; }),
                  "unable to receive access token by auth code");
        EXPECT_EQ(log->textAt(4),
                  "Unable to request token using received auth code. Unexpected response (" + code +
                      ") received.");
        log->takeLines();
        EXPECT_EQ(test::outcome([&] { return refresh(provider, *flow), true; }),
                  "pointer: unable to receive access token by refresh token");
        EXPECT_EQ(log->textAt(4),
                  "Unable to refresh token, unexpected response (" + code + ") received.");
        EXPECT_EQ(provider.requests().size() - before, 2U);
    }
}

}  // namespace
