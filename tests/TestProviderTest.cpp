#include "tests/support/Test.h"

#include "testing/TestBrowser.h"
#include "testing/TestProvider.h"
#include "tests/support/JwtPayload.h"
#include "tests/support/Wide.h"

#include <cpprest/http_client.h>

namespace {

using namespace auth::testing;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// The verifier and challenge of RFC 7636, appendix B.
constexpr auto* verifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr auto* challenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

std::string authorizationUrl(const TestProvider& provider, const Fields& parameters) {
    std::string url = provider.url(Endpoint::Authorization);
    for (const auto& [name, value] : parameters) {
        url +=
            (url.find('?') == std::string::npos ? "?" : "&") + name + '=' + test::urlEncoded(value);
    }
    return url;
}

Fields signInRequest(const std::string& redirectUri, const std::string& state) {
    return {{"response_type", "code id_token"},
            {"response_mode", "form_post"},
            {"client_id", "app"},
            {"redirect_uri", redirectUri},
            {"scope", "openid a"},
            {"nonce", "the nonce"},
            {"state", state},
            {"code_challenge", challenge},
            {"code_challenge_method", "S256"}};
}

web::json::value parsed(const std::string& json) {
    return web::json::value::parse(test::to_string_t(json));
}

std::string member(const web::json::value& object, const std::string& name) {
    return test::to_utf8string(object.at(test::to_string_t(name)).as_string());
}

std::string answer(const TestProvider& provider, Endpoint endpoint, const std::string& form = "") {
    web::http::http_request request(form.empty() ? web::http::methods::GET
                                                 : web::http::methods::POST);
    request.set_body(form, "application/x-www-form-urlencoded");
    web::http::client::http_client client(test::to_string_t(provider.url(endpoint)));
    return test::get(test::get(client.request(request)).extract_utf8string());
}

std::string refresh(const TestProvider& provider, const std::string& client,
                    const std::string& token) {
    return answer(provider, Endpoint::Token,
                  "grant_type=refresh_token&client_id=" + client + "&refresh_token=" + token);
}

std::string refreshToken(const std::string& answer) {
    return member(parsed(answer), "refresh_token");
}

TEST(TestProvider, RedeemsACodeOnceAndOnlyAsItWasIssued) {
    TestProvider provider;
    const auto code = provider.issueCode({"app", "app:/back", challenge});
    const auto redeem = [&](const std::string& client, const std::string& uri,
                            const std::string& proof) {
        return answer(provider, Endpoint::Token,
                      "grant_type=authorization_code&code=" + code + "&client_id=" + client +
                          "&redirect_uri=" + uri + "&code_verifier=" + proof);
    };
    const std::string refused = R"({"error":"invalid_grant"})";
    EXPECT_EQ(redeem("other", "app:/back", verifier), refused);
    EXPECT_EQ(redeem("app", "app:/back/", verifier), refused);
    EXPECT_EQ(redeem("app", "app:/back", ""), refused);
    EXPECT_EQ(redeem("app", "app:/back", std::string("e") + (verifier + 1)), refused);

    const auto first = redeem("app", "app:/back", verifier);
    EXPECT_EQ(refresh(provider, "other", refreshToken(first)), refused);
    const auto second = refresh(provider, "app", refreshToken(first));
    EXPECT_NE(refreshToken(second), "");
    EXPECT_EQ(redeem("app", "app:/back", verifier), refused);
    EXPECT_EQ(refresh(provider, "app", refreshToken(second)), refused) << "the code was replayed";
}

TEST(TestProvider, SignsAUserInWithWhatTheRequestSays) {
    TestProvider provider({true, ""});
    TestProvider application;  // records the requests to the redirect URL
    const std::string state = "a b+c&d=%41\"<é>";
    const auto redirectUri = application.tokenEndpoint() + "?x=1&amp=%22";
    const auto url = authorizationUrl(provider, signInRequest(redirectUri, state));
    const auto answered = signIn(url, provider.authorityFile());
    EXPECT_EQ(answered.status, 400U);
    EXPECT_EQ(answered.contentType, "application/json");
    EXPECT_EQ(answered.body, R"({"error":"unsupported_grant_type"})");

    const auto posted = application.requests(Endpoint::Token).at(0);
    EXPECT_EQ(provider.issuer().substr(0, 8), "https://");
    EXPECT_EQ(application.issuer() + posted.target, redirectUri);
    EXPECT_EQ(posted.field("state"), state);
    EXPECT_EQ(posted.form().size(), 3U);
    const auto id = parsed(test::payloadOf(posted.field("id_token")));
    EXPECT_EQ(member(id, "nonce"), "the nonce");
    EXPECT_EQ(member(id, "aud"), "app");

    EXPECT_THROW(openPage(url), std::runtime_error) << "an unknown authority";
    TestProvider other({true, ""});
    EXPECT_THROW(openPage(url, other.authorityFile()), std::runtime_error);
}

TEST(TestProvider, SaysWhatAnAuthorizationRequestLacks) {
    TestProvider provider;
    const auto complains = [&](const Fields& request, const std::string& text) {
        EXPECT_THAT([&] { openPage(authorizationUrl(provider, request)); },
                    ThrowsMessage<std::runtime_error>(HasSubstr("no form, status 400: " + text)));
    };
    const auto request = signInRequest("http://127.0.0.1:1/", "state");
    for (std::size_t i = 0; i < request.size(); ++i) {
        auto changed = request;
        changed.at(i) = {"other", ""};
        complains(changed, "missing parameter " + request.at(i).first);
        changed.insert(changed.end(), 2, request.at(i));
        complains(changed, "repeated parameter " + request.at(i).first);
    }
    provider.requireClient("other", "");
    complains(request, "unknown client app");
}

}  // namespace
