#include "auth/COIDCAuthClientCredentials.h"
#include "tests/support/Refusals.h"
#include "tests/support/TestClock.h"

namespace {

using namespace std::chrono_literals;
using namespace test;

constexpr auto discovery = Endpoint::Discovery;
constexpr auto tokens = Endpoint::Token;

auth::COIDCToken request(const TestProvider& provider, const auth::detail::LoggerPtr& logger,
                         const char* secret = "secret", const char* scope = "a b") {
    auth::COIDCAuthClientCredentials flow(provider.configUrl(), logger, "client_credentials");
    Concurrency::task<auth::COIDCToken> answer;
    EXPECT_NO_THROW(answer = flow.requestTokenAsync("client", secret, scope,
                                                    Concurrency::cancellation_token::none()));
    return get(answer);
}

TEST(ClientCredentials, SendsExactlyThis) {
    TestProvider provider;
    provider.setMember(discovery, "token_endpoint", '"' + provider.tokenEndpoint() + "?x=1#part\"");
    for (const char* const unused : {"jwks_uri", "response_modes_supported"}) {
        provider.removeMember(discovery, unused);
    }
    request(provider, nullptr, "/:+=&% \xC3\xA4?@;", "read  write ");

    const auto requests = provider.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(linesOf(requests[0].head), headOf(provider, "GET /.well-known/openid-configuration"));
    const std::string body =
        "grant_type=client_credentials&client_id=client"
        "&client_secret=/:%2B%3D%26%25%20%C3%A4?@%3B&scope=read%20%20write%20";
    EXPECT_EQ(requests[1].body, body);
    EXPECT_EQ(linesOf(requests[1].head), headOf(provider, "POST /token", formFields(body)));
    EXPECT_EQ(requests[0].connection, requests[1].connection);
}

TEST(ClientCredentials, MakesATokenOfTheAnswer) {
    const auto now = std::chrono::system_clock::time_point(1'700'000'000s);
    TestClock clock;
    clock.freezeAt(now);
    TestProvider provider;
    provider.setMember(tokens, "access_token", R"("opaque \u00e4")");
    provider.setMember(tokens, "refresh_token", R"("not for services")");
    provider.setMember(tokens, "scope", R"("other")");
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
        provider.setMember(tokens, "expires_in", text);
        auto received = request(provider, nullptr, "secret", "b a");
        EXPECT_EQ(received.accessToken(), CString(L"opaque \u00E4"));
        EXPECT_TRUE(received.refreshToken().IsEmpty());
        EXPECT_TRUE(received.idToken().IsEmpty());
        EXPECT_EQ(received.clientId(), CString("client"));
        EXPECT_EQ(received.scopes(), CString("a b"));
        EXPECT_EQ(received.expiresAt(), now + std::chrono::seconds(seconds)) << text;
    }
}

TEST(ClientCredentials, RefusesAndAsksNothingFurther) {
    const auto* const grants = "grant_types_supported";
    const std::string missing = "Key not found";
    const std::string grantText = "requested grant type is not supported";
    const std::string grantLine = "Requested grant type is not supported.";
    const std::string type = "invalid token type";
    const std::string typeLine = "Token type is not 'Bearer'.";
    std::vector<Refusal> configurations = {
        {"no grant types", noMember(discovery, grants), missing},
        {"grant types as text", member(discovery, grants, R"("client_credentials")"),
         "not an array"},
        {"issuer is missing before the grant type is looked at",
         both(noMember(discovery, "issuer"), member(discovery, grants, "[]")), missing},
        {"issuer is a number", member(discovery, "issuer", "1"), "not a string"},
        {"no authorization endpoint", noMember(discovery, "authorization_endpoint"), missing},
        {"no token endpoint", noMember(discovery, "token_endpoint"), missing},
        {"no scopes", noMember(discovery, "scopes_supported"), missing},
        {"scope is a number", member(discovery, "scopes_supported", R"(["a", 1])"), "not a string"},
        {"token endpoint is none", member(discovery, "token_endpoint", R"("not a url")"), ""},
    };
    std::vector<Refusal> answers = {
        {"token type is missing", noMember(tokens, "token_type"), missing},
        {"token type is checked first",
         both(member(tokens, "token_type", R"("Beare")"), noMember(tokens, "access_token")), type,
         typeLine},
        {"no access token", noMember(tokens, "access_token"), missing},
        {"access token is a number", member(tokens, "access_token", "7"), "not a string"},
        {"no expiry", noMember(tokens, "expires_in"), missing},
        {"expiry as text", member(tokens, "expires_in", R"("3600")"), "not a number"},
    };
    for (const auto& [name, edit] : nearMisses()) {
        const std::string grant = '"' + edit("client_credentials") + '"';
        configurations.push_back({"grant " + grant, member(discovery, grants, "[1, " + grant + ']'),
                                  grantText, grantLine});
        answers.push_back({"token type, " + std::string(name),
                           member(tokens, "token_type", '"' + edit("Bearer") + '"'), type,
                           typeLine});
    }
    for (const unsigned status : {201U, 204U, 301U, 302U, 304U, 307U, 308U, 400U, 401U, 500U}) {
        const std::string code = '(' + std::to_string(status) + ')';
        const auto redirects = [=](Endpoint at) {
            return [=](auto& p) { p.redirect(at, status, p.url(at) + "?again"); };
        };
        configurations.push_back(
            {code, redirects(discovery), "unable to retrieve configuration",
             "Unable to receive OIDC configuration. Unexpected response " + code + " received."});
        answers.push_back(
            {code, redirects(tokens), "unable to retrieve token",
             "Unable to request token. Unexpected response " + code + " is received."});
    }
    const auto ask = [](auto& provider, auto& logger) { request(provider, logger); };
    expectRefusals(configurations, 1, ask);
    expectRefusals(answers, 2, ask);
}

TEST(ClientCredentials, RefusesAnAddressThatIsNone) {
    const TestProvider provider;
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
