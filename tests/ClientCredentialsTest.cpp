#include "auth/COIDCAuthClientCredentials.h"
#include "testing/TestProvider.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/TestClock.h"

#include <cpprest/version.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using auth::testing::Endpoint;
using auth::testing::Framing;
using auth::testing::TestProvider;
using ::testing::HasSubstr;

const auto noToken = Concurrency::cancellation_token::none();

auth::COIDCToken request(const TestProvider& provider, const auth::detail::LoggerPtr& logger,
                         const char* secret = "secret", const char* scope = "a b") {
    auth::COIDCAuthClientCredentials flow(provider.configUrl(), logger, "client_credentials");
    Concurrency::task<auth::COIDCToken> answer;
    EXPECT_NO_THROW(answer = flow.requestTokenAsync("client", secret, scope, noToken));
    return answer.get();
}

const std::string userAgent = "cpprestsdk/" + std::to_string(CPPREST_VERSION_MAJOR) + '.' +
                              std::to_string(CPPREST_VERSION_MINOR) + '.' +
                              std::to_string(CPPREST_VERSION_REVISION);

TEST(ClientCredentials, SendsExactlyThis) {
    TestProvider provider;
    provider.setMember(Endpoint::Discovery, "token_endpoint",
                       '"' + provider.tokenEndpoint() + "?x=1#part\"");
    for (const char* const unused : {"jwks_uri", "response_modes_supported"}) {
        provider.removeMember(Endpoint::Discovery, unused);
    }
    request(provider, nullptr, "/:+=&% \xC3\xA4?@;", "read  write ");

    const auto requests = provider.requests();
    ASSERT_EQ(requests.size(), 2U);
    const std::string host = "Host: 127.0.0.1:" + std::to_string(provider.port()) + "\r\n";
    const std::string rest = "User-Agent:" + userAgent + "\r\nConnection: Keep-Alive\r\n\r\n";
    EXPECT_EQ(requests[0].head, "GET /.well-known/openid-configuration HTTP/1.1\r\n" + host + rest);
    const std::string body =
        "grant_type=client_credentials&client_id=client"
        "&client_secret=/:%2B%3D%26%25%20%C3%A4?@%3B&scope=read%20%20write%20";
    EXPECT_EQ(requests[1].body, body);
    EXPECT_EQ(requests[1].head, "POST /token HTTP/1.1\r\n" + host +
                                    "Content-Length:" + std::to_string(body.size()) + "\r\n" +
                                    "Content-Type:application/x-www-form-urlencoded\r\n" + rest);
    EXPECT_EQ(requests[0].connection, requests[1].connection);
}

TEST(ClientCredentials, MakesATokenOfTheAnswer) {
    const auto now = std::chrono::system_clock::time_point(1'700'000'000s);
    test::TestClock clock;
    clock.freezeAt(now);
    TestProvider provider;
    provider.setMember(Endpoint::Token, "access_token", R"("opaque \u00e4")");
    provider.setMember(Endpoint::Token, "refresh_token", R"("not for services")");
    provider.setMember(Endpoint::Token, "scope", R"("other")");
    const int lowest = std::numeric_limits<int>::min();
    for (const auto& [text, seconds] : std::map<std::string, int>{{"3600", 3600},
                                                                  {"0", 0},
                                                                  {"-60", -60},
                                                                  {"3.6e3", 3600},
                                                                  {"2147483647.5", 2'147'483'647},
                                                                  {"-2147483648.5", lowest},
                                                                  {"2147483648.0", lowest},
                                                                  {"1e999", lowest},
                                                                  {"-1e999", lowest},
                                                                  {"4294967297", 1}}) {
        provider.setMember(Endpoint::Token, "expires_in", text);
        auto token = request(provider, nullptr, "secret", "b a");
        EXPECT_EQ(token.accessToken(), CString(L"opaque \u00E4"));
        EXPECT_TRUE(token.refreshToken().IsEmpty());
        EXPECT_TRUE(token.idToken().IsEmpty());
        EXPECT_EQ(token.clientId(), CString("client"));
        EXPECT_EQ(token.scopes(), CString("a b"));
        EXPECT_EQ(token.expiresAt(), now + std::chrono::seconds(seconds)) << text;
    }
}

struct Refusal {
    const char* name;
    std::function<void(TestProvider&)> arrange;
    const char* text;    // part of the exception's text
    const char* logged;  // the one line at level 4, or ""
    std::size_t tokenRequests;
};

std::vector<Refusal> refusals() {
    const auto discovery = Endpoint::Discovery;
    const auto token = Endpoint::Token;
    const auto set = [](Endpoint at, const char* name, const char* json) {
        return [=](TestProvider& p) { p.setMember(at, name, json); };
    };
    const auto remove = [](Endpoint at, const char* name) {
        return [=](TestProvider& p) { p.removeMember(at, name); };
    };
    const char* const grants = "grant_types_supported";
    const char* const missing = "Key not found";
    const char* const type = "invalid token type";
    const char* const typeLine = "Token type is not 'Bearer'.";
    std::vector<Refusal> rows = {
        {"no grant types", remove(discovery, grants), missing, "", 0},
        {"other grant types",
         set(discovery, grants, R"(["client_credential", 1, "Client_Credentials"])"),
         "requested grant type is not supported", "Requested grant type is not supported.", 0},
        {"grant types as text", set(discovery, grants, R"("client_credentials")"), "not an array",
         "", 0},
        {"issuer is missing before the grant type is looked at",
         [=](auto& p) {
             remove(discovery, "issuer")(p);
             set(discovery, grants, "[]")(p);
         },
         missing, "", 0},
        {"issuer is a number", set(discovery, "issuer", "1"), "not a string", "", 0},
        {"no authorization endpoint", remove(discovery, "authorization_endpoint"), missing, "", 0},
        {"no token endpoint", remove(discovery, "token_endpoint"), missing, "", 0},
        {"no scopes", remove(discovery, "scopes_supported"), missing, "", 0},
        {"scope is a number", set(discovery, "scopes_supported", R"(["a", 1])"), "not a string", "",
         0},
        {"token endpoint is none", set(discovery, "token_endpoint", R"("not a url")"), "", "", 0},
        {"token type is missing", remove(token, "token_type"), missing, "", 1},
        {"token type in lower case", set(token, "token_type", R"("bearer")"), type, typeLine, 1},
        {"longer token type", set(token, "token_type", R"("Bearer1")"), type, typeLine, 1},
        {"token type is checked first",
         [=](auto& p) {
             set(token, "token_type", R"("Beare")")(p);
             remove(token, "access_token")(p);
         },
         type, typeLine, 1},
        {"no access token", remove(token, "access_token"), missing, "", 1},
        {"access token is a number", set(token, "access_token", "7"), "not a string", "", 1},
        {"no expiry", remove(token, "expires_in"), missing, "", 1},
        {"expiry as text", set(token, "expires_in", R"("3600")"), "not a number", "", 1},
    };
    for (const unsigned status : {201U, 204U, 301U, 302U, 304U, 307U, 308U, 400U, 401U, 500U}) {
        static std::vector<std::string> lines;
        lines.reserve(40);
        const auto arrange = [=](Endpoint endpoint) {
            return [=](TestProvider& p) {
                status / 100 == 3 ? p.redirect(endpoint, status, p.url(endpoint) + "?again")
                                  : p.setStatus(endpoint, status);
            };
        };
        lines.push_back("Unable to receive OIDC configuration. Unexpected response (" +
                        std::to_string(status) + ") received.");
        rows.push_back({"configuration status", arrange(discovery),
                        "unable to retrieve configuration", lines.back().c_str(), 0});
        lines.push_back("Unable to request token. Unexpected response (" + std::to_string(status) +
                        ") is received.");
        rows.push_back(
            {"token status", arrange(token), "unable to retrieve token", lines.back().c_str(), 1});
    }
    return rows;
}

TEST(ClientCredentials, RefusesAndAsksNothingFurther) {
    TestProvider provider;
    for (const Refusal& row : refusals()) {
        for (const bool logged : {true, false}) {
            provider.reset();
            row.arrange(provider);
            const auto before = provider.requests().size();
            const auto log = std::make_shared<test::CapturedLog>();
            const std::string end = test::outcome([&] {
                return request(provider, logged ? test::CapturedLog::loggerTo(log) : nullptr), true;
            });
            EXPECT_NE(end, "accepted") << row.name;
            EXPECT_THAT(end, HasSubstr(row.text)) << row.name;
            EXPECT_EQ(provider.requests().size() - before, 1 + row.tokenRequests) << row.name;
            EXPECT_EQ(log->textAt(4), logged ? row.logged : "") << row.name;
        }
    }
}

TEST(ClientCredentials, TakesAnswersUpToTheirLimits) {
    TestProvider provider;
    for (const auto& [endpoint, limit] :
         {std::pair{Endpoint::Discovery, 512U * 1024U}, {Endpoint::Token, 256U * 1024U}}) {
        for (const auto framing : {Framing::ContentLength, Framing::Chunked}) {
            provider.reset();
            provider.hugeBody(endpoint, limit, framing);
            EXPECT_FALSE(request(provider, nullptr).accessToken().IsEmpty());
            provider.hugeBody(endpoint, limit + 1, framing);
            EXPECT_THROW(request(provider, nullptr), auth::detail::Error) << limit;
        }
    }
}

TEST(ClientCredentials, RefusesAnAddressThatIsNone) {
    TestProvider provider;
    const std::string beyond = "http://127.0.0.1:" + std::to_string(provider.port() + 65'536) + "/";
    for (const std::string& url :
         {std::string(), std::string("no url"), std::string("ftp://127.0.0.1/"),
          std::string("http://"), std::string("/path"), beyond}) {
        EXPECT_THROW(auth::COIDCAuthClientCredentials(url, nullptr, "client_credentials"),
                     std::exception)
            << url;
    }
    EXPECT_TRUE(provider.requests().empty());
}

}  // namespace
