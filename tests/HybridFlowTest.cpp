#include "auth/detail/Pkce.h"
#include "tests/support/Application.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/Pattern.h"
#include "tests/support/Wide.h"

namespace {

using namespace test;
using auth::COIDCAuthHybrid;
using ::testing::ElementsAre;
using ::testing::EndsWith;

const auto noToken = cancellation_token::none();

/// A sign-in at a provider of its own.
class HybridFlow : public Applications {
protected:
    COIDCToken signIn(const COIDCAuthHybrid::OpenBrowser& open, const std::vector<CString>& urls,
                      const cancellation_token& token = noToken) {
        COIDCAuthHybrid flow(provider.configUrl(), CapturedLog::loggerTo(log), flowSettings(),
                             noToken, open);
        log->takeLines();
        return get(flow.requestTokenHybridFlowAsync("client", "openid b", urls, token, 90));
    }

    std::string end(const COIDCAuthHybrid::OpenBrowser& open, const std::vector<CString>& urls) {
        return outcome([&] { signIn(open, urls); });
    }
};

TEST_F(HybridFlow, OpensExactlyThisUrl) {
    provider.setMember(Endpoint::Discovery, "authorization_endpoint",
                       R"("https://id.test/sign%20in?tenant=a%26b")");
    provider.setMember(Endpoint::Discovery, "jwks_uri",
                       '"' + provider.url(Endpoint::Keys) + "?tenant=a%26b\"");
    std::string opened;
    const std::string query = "?tenant=a%26b";
    COIDCAuthHybrid flow((provider.configUrl() + query).c_str(), nullptr, flowSettings(), noToken,
                         [&opened](const CString& url) {
                             opened = url.toUtf8();
                             return false;
                         });
    EXPECT_EQ(outcome(flow.requestTokenHybridFlowAsync("my client&1", "openid a+b \xC3\xA4/c",
                                                       {redirectUrl + "/%C3%A4"}, noToken, 90)),
              "unable to request authentication through the browser");
    EXPECT_THAT(provider.requests(Endpoint::Discovery).back().target, EndsWith(query));
    EXPECT_THAT(provider.requests(Endpoint::Keys).back().target, EndsWith(query));
    const std::string port =
        std::to_string(web::uri(test::to_string_t(redirectUrl.toUtf8())).port());
    EXPECT_THAT(opened, MatchesPattern("https://id\\.test/sign%20in\\?tenant=a%26b"
                                       "&response_type=code%20id_token"
                                       "&nonce=[A-Za-z0-9]{22}"
                                       "&state=[A-Za-z0-9]{22}"
                                       "&code_challenge=[A-Za-z0-9_-]{43}"
                                       "&code_challenge_method=S256"
                                       "&client_id=my%20client%261"
                                       "&scope=openid%20a%2Bb%20%C3%A4/c"
                                       "&redirect_uri=http%3A%2F%2F127\\.0\\.0\\.1%3A" +
                                       port +
                                       "%2Fcallback%2F%25C3%25A4"
                                       "&response_mode=form_post"));
}

/// The form that the browser posts, before a test changes it.
struct Posted {
    std::string& code;
    std::string& state;
    std::string& idToken;
    TestToken token;  // the correct token, to be changed and signed
};

/// Signs in with the answer as `edit` changes it.
User::Acts posting(const TestProvider& provider, const std::function<void(Posted&)>& edit) {
    return [&provider, edit](const std::string& url) {
        FormPost form = openPage(url);
        auto fields = queryOf(form.body);
        const std::string nonce =
            queryOf(to_utf8string(web::uri(to_string_t(url)).query()))["nonce"];
        Posted posted{fields["code"], fields["state"], fields["id_token"],
                      provider.token(TokenKind::AuthorizationId, "client", nonce)};
        edit(posted);
        form.body.clear();
        for (const auto& [name, value] : fields) {
            form.body.append(name).append("=").append(value).append("&");
        }
        submit(form);
    };
}

TEST_F(HybridFlow, TakesNoOtherAnswerThanItsOwn) {
    const std::string noMatch = "Unable to receive auto code or state does not match.";
    const std::string invalid = "Invalid auth code.";
    const auto claim = [this](const char* name, const std::string& json) {
        return [this, name, json](Posted& by) {
            by.idToken = by.token.setClaim(name, json).signedBy(provider.signingKey());
        };
    };
    std::vector<Row<Posted>> rows = {
        {"as it is", claim("x", "1"), "accepted"},
        {"no JWT", [](Posted& by) { by.idToken = "a.b"; }, "invalid token supplied"},
        {"unknown key",
         [this](Posted& by) {
             by.token.setHeader("kid", R"("other")");
             by.idToken = by.token.signedBy(provider.signingKey());
         },
         "auth code response validation failed", "Unable to recognize key id." + invalid},
        {"other client", claim("aud", R"("other")"), "auth code response validation failed",
         "Unable to find client id in audience in id token." + invalid},
        {"other nonce", claim("nonce", R"("x")"), "auth code response validation failed",
         "Unable to find nonce in id token." + invalid},
        {"no state before no JWT",
         [](Posted& by) {
             by.state = "";
             by.idToken = "a.b";
         },
         "request state does not match", noMatch},
        {"other code", [](Posted& by) { by.code += '1'; },
         "unable to receive access token by auth code",
         "Unable to request token using received auth code. Unexpected response (400) received."},
    };
    for (const auto& [name, edit] : nearMisses()) {
        rows.push_back({name, [edit = edit](Posted& by) { by.state = edit(by.state); },
                        "request state does not match", noMatch});
    }
    struct SignIn {
        std::shared_ptr<CapturedLog> log = std::make_shared<CapturedLog>();
        std::unique_ptr<User> user;
        std::unique_ptr<COIDCAuthHybrid> flow;
        task<COIDCToken> token;
    };
    std::list<SignIn> signIns;  // in parallel: each is noticed up to half a second later
    for (const auto& row : rows) {
        SignIn& each = signIns.emplace_back();
        each.user = std::make_unique<User>(posting(provider, row.change));
        each.flow =
            std::make_unique<COIDCAuthHybrid>(provider.configUrl(), CapturedLog::loggerTo(each.log),
                                              flowSettings(), noToken, each.user->opener());
        each.token = each.flow->requestTokenHybridFlowAsync("client", "openid", {freeRedirectUrl()},
                                                            noToken, 90);
    }
    auto each = signIns.begin();
    for (const auto& row : rows) {
        EXPECT_EQ(outcome(each->token), row.outcome) << row.name;
        EXPECT_EQ((each++)->log->textAt(4), row.logged) << row.name;
    }
    EXPECT_EQ(provider.requests(Endpoint::Token).size(), 2U)
        << "the accepted one, and the other code";
}

TEST_F(HybridFlow, NeedsABrowserThatOpens) {
    const std::string text = "unable to request authentication through the browser";
    EXPECT_EQ(end([](const CString&) { return false; }, {redirectUrl}), text);
    EXPECT_EQ(log->textAt(4), "Unable to request auth code through the browser.");
    EXPECT_EQ(end({}, {redirectUrl}), text);
}

TEST_F(HybridFlow, ListensOnTheFirstUrlThatOpens) {
    const TakenPort taken;
    const TakenPort alsoTaken;
    EXPECT_EQ(end(user.opener(), {taken.url(), "no URL", redirectUrl, alsoTaken.url()}),
              "accepted");
    EXPECT_EQ(provider.requests(Endpoint::Authorization).back().parameter("redirect_uri"),
              redirectUrl.toUtf8());
    EXPECT_EQ(provider.requests(Endpoint::Token).back().field("redirect_uri"),
              redirectUrl.toUtf8());
    EXPECT_EQ(log->textAt(4), "") << "what another URL makes up for is no error";
    auto lines = log->takeLines();
    lines.resize(5);
    EXPECT_THAT(lines, ElementsAre("2 Requesting token...", "1 Requesting auth code...",
                                   "1 Auth code requested successfully.",
                                   "1 Validating auth code...", "1 Validating JWT..."));

    const std::string last = end(user.opener(), {"no URL", taken.url()});
    EXPECT_THAT(last, ::testing::HasSubstr(taken.url()));
    EXPECT_EQ(log->textAt(4), "Unable to construct listener. " + last + ".");
    EXPECT_EQ(end(user.opener(), {}), "cannot construct listener");
    EXPECT_EQ(log->textAt(4), "");
    EXPECT_EQ(user.urls().size(), 1U);
}

TEST_F(HybridFlow, OpensNothingOnceItIsCancelled) {
    const cancellation_token_source source;
    log->onLine([&source](const std::string& line) {
        if (line == "Requesting token...") {
            source.cancel();
        }
    });
    EXPECT_EQ(outcome([&] { signIn(user.opener(), {redirectUrl}, source.get_token()); }),
              "cancelled");
    EXPECT_TRUE(user.urls().empty());
}

TEST(Pkce, MakesVerifiersAndChallenges) {
    // RFC 7636, appendix B.
    const auto verifier = test::to_string_t("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk");
    EXPECT_EQ(test::to_utf8string(auth::detail::makeCodeChallenge(verifier)),
              "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
    EXPECT_EQ(test::to_utf8string(auth::detail::base64UrlNoPad({0xFB, 0xEF, 0xFF, 0xFE})),
              "--___g");
    std::set<utility::string_t> verifiers;
    for (int i = 0; i < 100; ++i) {
        verifiers.insert(auth::detail::makeCodeVerifier(64));
        EXPECT_THAT(test::to_utf8string(*verifiers.rbegin()), MatchesPattern("[A-Za-z0-9_-]{86}"));
    }
    EXPECT_EQ(verifiers.size(), 100U);
    // Every byte value but one occurs.
    utility::string_t text = auth::detail::makeCodeVerifier(30'000);
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    const auto bytes = utility::conversions::from_base64(text);
    const std::set<int> drawn(bytes.begin(), bytes.end());
    EXPECT_EQ(drawn.size(), 255U);
    EXPECT_EQ(*drawn.rbegin(), 254);
}

}  // namespace
