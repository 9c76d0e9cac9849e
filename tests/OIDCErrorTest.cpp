#include "host/standalone/TokenStoreError.h"
#include "tests/support/Application.h"
#include "tests/support/HttpClient.h"
#include "tests/support/Refusals.h"
#include "tests/support/TestHost.h"
#include "tests/support/Wide.h"

#include <ios>
#include <new>
#include <typeinfo>

namespace {

using namespace test;
using auth::OIDCError;
using Kind = OIDCError::Kind;

constexpr auto discovery = Endpoint::Discovery;
constexpr auto tokens = Endpoint::Token;

/// A service and a user at a provider, and a log that must not contain the provider's texts.
class Errors : public Applications {
protected:
    OIDCError ofService(const std::string& configUrl) {
        return failure([&] {
            helper->getAccessTokenClientCredentials(configUrl, "client", "secret", "a", 0);
        });
    }
    OIDCError ofService(const Arrange& arrange) {
        provider.reset();
        arrange(provider);
        return ofService(provider.configUrl());
    }

    OIDCError ofUser(const std::vector<CString>& redirectUrls) {
        return failure([&] {
            helper->getAccessTokenHybrid(provider.configUrl(), "client", "openid", redirectUrls, 0,
                                         true);
        });
    }
};

TEST_F(Errors, RepeatWhatTheTokenEndpointSays) {
    const auto said = [](const std::string& description) {
        return R"({"error": "e", "error_description": ")" + description + "\"}";
    };
    const auto ofSize = [&](std::size_t size) {
        return said("d") + std::string(size - said("d").size(), ' ');
    };
    const std::string euros = repeated("\xE2\x82\xAC", 256);
    struct Row {
        unsigned status;
        std::string body;
        std::string error;
        std::string description;
        bool canRetry = false;
        Arrange fault = [](auto&) {};
    };
    std::optional<HostSettings> limit;
    const std::vector<Row> rows = {
        {401, R"({"error": "invalid_client"})", "invalid_client", ""},
        {201, said("\\u00e4 b"), "e", "\xC3\xA4 b"},
        {302, said("d"), "e", "d", false,
         [](auto& p) { p.setHeader(tokens, "Location", p.tokenEndpoint()); }},
        {400, R"({"error": "temporarily_unavailable"})", "temporarily_unavailable", "", true},
        {400, R"({"error": "server_error", "error_description": 1})", "server_error", "", true},
        {400, R"({"error": "server_error "})", "server_error ", ""},
        {429, "", "", "", true},
        {428, "", "", ""},
        {499, "", "", ""},
        {500, "", "", "", true},
        // Hostile texts.
        {400, said(R"(a\u0000\u001b[31m\n\u007f\u009b\u202e\u2066\u200fb)"), "e", "a  [31m      b"},
        {400, said(euros + euros), "e", euros},
        {400, R"({"error": ")" + std::string(300, 'x') + "\"}", std::string(256, 'x'), ""},
        {400, ofSize(8192), "e", "d"},
        {400, ofSize(8193), "", ""},
        {400, std::string(1U << 20U, '{'), "", ""},
        {400, ofSize(8193), "", "", false,
         [](auto& p) { p.hugeBody(tokens, 8193, Framing::Chunked); }},
        {400, said("d"), "e", "d", false,
         [](auto& p) { p.setContentType(tokens, "text/plain; charset=x"); }},
        {400, said("\xC3("), "", ""},
        {400, said("\xED\xA0\x80"), "", ""},
        {400, "{\"error\": \"e\", \"other\": \"\xFF\"}", "", ""},
        {400, R"({"error": "e")", "", ""},
        {400, "error=e", "", ""},
        {400, R"(["error"])", "", ""},
        {400, R"({"error": 7, "error_description": "d"})", "", ""},
        {400, R"({"error": {"error": "e"}})", "", ""},
        {400, R"({"error": "", "error_description": "d"})", "", ""},
        {400, R"({"error_description": "d"})", "", ""},
        {400, std::string(8000, '['), "", ""},
        {400, said("d"), "", "", false, [](auto& p) { p.truncateBody(tokens, 10); }},
        {400, said("d"), "", "", false,
         [](auto& p) { p.closeConnection(tokens, CloseAt::AfterHead, CloseBy::Reset); }},
        {503, said("d"), "", "", true, [](auto& p) { p.slowBody(tokens, 1s); }},
        {503, said("d"), "", "", true,
         [&](auto& p) {
             limit.emplace(1s);
             p.slowBody(tokens, 1s);
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body.substr(0, 60));
        log->takeLines();
        const auto begin = std::chrono::steady_clock::now();
        const OIDCError error = ofService([&](TestProvider& p) {
            p.setStatus(tokens, row.status);
            p.setDocument(tokens, row.body);
            row.fault(p);
        });
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
        EXPECT_STREQ(error.what(), "unable to retrieve token");
        EXPECT_EQ(error.kind(), Kind::providerRefused);
        EXPECT_EQ(error.status(), row.status);
        EXPECT_EQ(error.providerError(), row.error);
        EXPECT_EQ(error.providerErrorDescription(), row.description);
        EXPECT_EQ(error.canRetry(), row.canRetry);
        EXPECT_EQ(log->textAt(4), "Unable to request token. Unexpected response (" +
                                      std::to_string(row.status) + ") is received.");
    }
}

TEST_F(Errors, RepeatWhatTheProviderPosts) {
    struct Row {
        std::string error;
        std::string description;
        Kind kind;
        std::string told = {};
        bool canRetry = false;
        std::string state = {};  // the request's state
    };
    helper->setBrowserOpener(user.opener());
    for (const Row& row :
         std::vector<Row>{{"access_denied", "the user+said \xC3\xA4\x1B", Kind::userDeclined,
                           "the user+said \xC3\xA4 "},
                          {"access_denied", "", Kind::wrongAnswer, "", false, "other"},
                          {"temporarily_unavailable", "", Kind::providerRefused, "", true},
                          {"access_denied2", "%", Kind::providerRefused, "%"},
                          {"", "", Kind::wrongAnswer}}) {
        provider.reset();
        provider.removeMember(Endpoint::Authorization, "code");
        for (const auto& [name, value] : {std::pair{"error", row.error},
                                          {"error_description", row.description},
                                          {"state", row.state}}) {
            if (!value.empty()) {
                provider.setMember(Endpoint::Authorization, name, value);
            }
        }
        const OIDCError error = ofUser({redirectUrl});
        EXPECT_STREQ(error.what(), "no code in auth code response");
        EXPECT_EQ(error.kind(), row.kind);
        EXPECT_EQ(error.providerError(), row.kind == Kind::wrongAnswer ? "" : row.error);
        EXPECT_EQ(error.providerErrorDescription(), row.told);
        EXPECT_EQ(error.canRetry(), row.canRetry);
        EXPECT_EQ(log->textAt(4), "");
    }
}

TEST_F(Errors, AreToldApart) {
    struct Row {
        std::function<OIDCError()> fail;
        Kind kind;
        std::string text;  // a part of it
        bool canRetry = false;
    };
    const auto with = [this](const Arrange& arrange) {
        return [this, arrange] { return ofService(arrange); };
    };
    const auto of = [](const auto& exception) {
        return [exception] { return OIDCError::of(std::make_exception_ptr(exception)); };
    };
    const auto answers = [](unsigned status) {
        return [=](TestProvider& p) { p.setStatus(discovery, status); };
    };
    const TakenPort taken;
    const CString halfPair(CString::String{0xD800});
    const auto grants = "grant_types_supported";
    const std::vector<Row> rows = {
        {with(answers(404)), Kind::providerRefused, "unable to retrieve configuration"},
        {with(answers(502)), Kind::providerRefused, "unable to retrieve configuration", true},
        {with(member(tokens, "token_type", "\"x\"")), Kind::wrongAnswer, "invalid token type"},
        {with(member(discovery, grants, "[]")), Kind::wrongAnswer, "grant type is not supported"},
        {with(noMember(tokens, "expires_in")), Kind::wrongAnswer, "Key not found"},
        {with([](auto& p) { p.setDocument(tokens, "{"); }), Kind::wrongAnswer, "Syntax error"},
        {with([](auto& p) { p.setContentType(tokens, "text/html"); }), Kind::wrongAnswer,
         "Incorrect Content-Type"},
        {with(member(tokens, "access_token", "\"\xC3(\"")), Kind::wrongAnswer, "UTF-8"},
        {with(member(discovery, "token_endpoint", "\"no url\"")), Kind::wrongAnswer, "uri"},
        {[this] { return ofService(std::string("http://127.0.0.1:1/")); }, Kind::notReached,
         httpClient.refused, true},
        {with([](auto& p) { p.closeConnection(discovery, CloseAt::BeforeHead, CloseBy::End); }),
         Kind::notReached, httpClient.noHead, true},
        {with([this](auto&) {
             content->writeFailure =
                 std::make_exception_ptr(standalone::TokenStoreError("disk full"));
         }),
         Kind::store, "disk full"},
        {[this] { return ofUser({}); }, Kind::cannotListen, "cannot construct listener"},
        {[&, this] { return ofUser({taken.url()}); }, Kind::cannotListen, "cannot listen on "},
        {[&, this] { return ofUser({halfPair}); }, Kind::wrongAnswer, "surrogate"},
        {[&, this] {
             helper->setBrowserOpener([](const CString&) { return false; });
             return ofUser({redirectUrl});
         },
         Kind::nobodySignedIn, "unable to request authentication through the browser"},
        {[] { return failure([] { COIDCHelper(nullptr, nullptr, nullptr); }); }, Kind::store,
         "token store should be specified"},
        {of(auth::RequiresUserAuthException("x")), Kind::signInNeeded, "x"},
        {of(Concurrency::task_canceled()), Kind::cancelled, ""},
        {of(std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again))),
         Kind::other, ""},
        {of(std::ios_base::failure("x")), Kind::other, "x"},
        {[this] {
             auth::ServiceRequest request;
             request.minValidity = -1min;
             return failure([&] { helper->getAccessTokenClientCredentials(request); });
         },
         Kind::other, "minimum validity"},
        {of(web::http::http_exception(std::make_error_code(std::errc::too_many_files_open),
                                      test::to_string_t("x"))),
         Kind::other, "x"},
        {of(std::runtime_error("Invalid input: x")), Kind::wrongAnswer, "Invalid input: x"},
        {of(std::runtime_error("no Invalid input")), Kind::other, "no Invalid input"},
        {of(std::bad_cast()), Kind::wrongAnswer, ""},
        {of(std::bad_alloc()), Kind::other, ""},
        {of(7), Kind::other, "unknown failure"},
        {[] { return OIDCError::of(nullptr); }, Kind::other, "unknown failure"},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const OIDCError error = rows[i].fail();
        content->writeFailure = nullptr;
        EXPECT_EQ(error.kind(), rows[i].kind) << i << ' ' << error.what();
        EXPECT_NE(std::string(error.what()).find(rows[i].text), std::string::npos) << error.what();
        EXPECT_EQ(error.canRetry(), rows[i].canRetry) << i << ' ' << error.what();
        EXPECT_EQ(error.providerError(), "");
    }
}

}  // namespace
