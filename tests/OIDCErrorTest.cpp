#include "auth/COIDCAuthClientCredentials.h"
#include "auth/COIDCHelper.h"
#include "auth/OIDCError.h"
#include "host/standalone/TokenStoreError.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/LocalPort.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/TestHost.h"
#include "tests/support/User.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <ios>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using auth::COIDCHelper;
using auth::OIDCError;
using auth::testing::CloseAt;
using auth::testing::CloseBy;
using auth::testing::Endpoint;
using auth::testing::TestProvider;
using Kind = OIDCError::Kind;

/// A service and a user at a provider, and a log that no words of the provider get into.
class Errors : public ::testing::Test {
protected:
    OIDCError ofService(const std::string& configUrl) {
        return test::failure([&] {
            helper->getAccessTokenClientCredentials(configUrl.c_str(), "client", "secret", "a", 0);
        });
    }
    OIDCError ofService() { return ofService(provider.configUrl()); }

    OIDCError ofUser(const std::vector<CString>& redirectUrls) {
        return test::failure([&] {
            helper->getAccessTokenHybrid(provider.configUrl(), "client", "openid", redirectUrls, 0,
                                         true);
        });
    }

    TestProvider provider;
    test::User user;
    std::shared_ptr<test::CapturedLog> log = std::make_shared<test::CapturedLog>();
    std::shared_ptr<test::StoreContent> content = std::make_shared<test::StoreContent>();
    std::unique_ptr<COIDCHelper> helper = std::make_unique<COIDCHelper>(
        std::make_unique<test::MemoryStore>(content), COIDCHelper::makeExclusivePermit(),
        test::CapturedLog::loggerTo(log));
};

TEST_F(Errors, RepeatWhatTheTokenEndpointSays) {
    const auto said = [](const std::string& description) {
        return R"({"error": "e", "error_description": ")" + description + "\"}";
    };
    const auto ofSize = [&](std::size_t size) {
        return said("d") + std::string(size - said("d").size(), ' ');
    };
    const std::string euro = "\xE2\x82\xAC";
    std::string euros;
    for (int i = 0; i < 256; ++i) {
        euros += euro;
    }
    struct Row {
        unsigned status;
        std::string body;
        std::string error;
        std::string description;
        bool canRetry = false;
        std::function<void()> fault = [] {};
    };
    std::optional<test::HostSettings> limit;
    const auto fault = [&](const auto& act) { return [this, act] { act(provider); }; };
    const std::vector<Row> rows = {
        {401, R"({"error": "invalid_client"})", "invalid_client", ""},
        {201, said("\\u00e4 b"), "e", "\xC3\xA4 b"},
        {302, said("d"), "e", "d", false,
         fault([](auto& p) { p.setHeader(Endpoint::Token, "Location", p.tokenEndpoint()); })},
        {400, R"({"error": "temporarily_unavailable"})", "temporarily_unavailable", "", true},
        {400, R"({"error": "server_error", "error_description": 1})", "server_error", "", true},
        {400, R"({"error": "server_error "})", "server_error ", ""},
        {429, "", "", "", true},
        {428, "", "", ""},
        {499, "", "", ""},
        {500, "", "", "", true},
        // Hostile words.
        {400, said(R"(a\u0000\u001b[31m\n\u007f\u009b\u202e\u2066\u200fb)"), "e", "a  [31m      b"},
        {400, said(euros + euro), "e", euros},
        {400, R"({"error": ")" + std::string(300, 'x') + "\"}", std::string(256, 'x'), ""},
        {400, ofSize(8192), "e", "d"},
        {400, ofSize(8193), "", ""},
        {400, std::string(1U << 20U, '{'), "", ""},
        {400, ofSize(8193), "", "", false, fault([](auto& p) {
             p.hugeBody(Endpoint::Token, 8193, auth::testing::Framing::Chunked);
         })},
        {400, said("d"), "e", "d", false,
         fault([](auto& p) { p.setContentType(Endpoint::Token, "text/plain; charset=x"); })},
        {400, said("\xC3("), "", ""},
        {400, said("\xED\xA0\x80"), "", ""},
        {400,
         R"({"error": "e", "other": ")"
         "\xFF"
         "\"}",
         "", ""},
        {400, R"({"error": "e")", "", ""},
        {400, "error=e", "", ""},
        {400, R"(["error"])", "", ""},
        {400, R"({"error": 7, "error_description": "d"})", "", ""},
        {400, R"({"error": {"error": "e"}})", "", ""},
        {400, R"({"error": "", "error_description": "d"})", "", ""},
        {400, R"({"error_description": "d"})", "", ""},
        {400, std::string(8000, '['), "", ""},
        {400, said("d"), "", "", false,
         fault([](auto& p) { p.truncateBody(Endpoint::Token, 10); })},
        {400, said("d"), "", "", false, fault([](auto& p) {
             p.closeConnection(Endpoint::Token, CloseAt::AfterHead, CloseBy::Reset);
         })},
        {503, said("d"), "", "", true, fault([](auto& p) { p.slowBody(Endpoint::Token, 1s); })},
        {503, said("d"), "", "", true,
         [&, this] {
             limit.emplace(1s);
             provider.slowBody(Endpoint::Token, 1s);
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.body.substr(0, 60));
        provider.reset();
        provider.setStatus(Endpoint::Token, row.status);
        provider.setDocument(Endpoint::Token, row.body);
        row.fault();
        log->takeLines();
        const auto begin = std::chrono::steady_clock::now();
        const OIDCError error = ofService();
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
        std::vector<std::pair<std::string, std::string>> fields;
        Kind kind;
        std::string error;
        std::string description;
        bool canRetry = false;
    };
    helper->setBrowserOpener(user.opener());
    for (const Row& row : std::vector<Row>{
             {{{"error", "access_denied"}, {"error_description", "the user+said \xC3\xA4\x1B"}},
              Kind::userDeclined,
              "access_denied",
              "the user+said \xC3\xA4 "},
             {{{"error", "access_denied"}, {"state", "other"}}, Kind::wrongAnswer, "", ""},
             {{{"error", "temporarily_unavailable"}},
              Kind::providerRefused,
              "temporarily_unavailable",
              "",
              true},
             {{{"error", "access_denied2"}, {"error_description", "%"}},
              Kind::providerRefused,
              "access_denied2",
              "%"},
             {{}, Kind::wrongAnswer, "", ""}}) {
        provider.reset();
        provider.removeMember(Endpoint::Authorization, "code");
        for (const auto& [name, value] : row.fields) {
            provider.setMember(Endpoint::Authorization, name, value);
        }
        const OIDCError error = ofUser({test::freeRedirectUrl()});
        EXPECT_STREQ(error.what(), "no code in auth code response");
        EXPECT_EQ(error.kind(), row.kind);
        EXPECT_EQ(error.providerError(), row.error);
        EXPECT_EQ(error.providerErrorDescription(), row.description);
        EXPECT_EQ(error.canRetry(), row.canRetry);
        EXPECT_EQ(log->textAt(4), "");
    }
}

TEST_F(Errors, AreToldApart) {
    struct Row {
        std::function<OIDCError()> fail;
        Kind kind;
        std::string text;  // part of it
        bool canRetry = false;
    };
    const auto withFault = [this](const std::function<void()>& arrange) {
        return [this, arrange] {
            provider.reset();
            arrange();
            return ofService();
        };
    };
    const auto of = [](const auto& exception) {
        return [exception] { return OIDCError::of(std::make_exception_ptr(exception)); };
    };
    const test::TakenPort taken;
    const CString halfPair(CString::String{0xD800});
    const std::vector<Row> rows = {
        {withFault([this] { provider.setStatus(Endpoint::Discovery, 404); }), Kind::providerRefused,
         "unable to retrieve configuration"},
        {withFault([this] { provider.setStatus(Endpoint::Discovery, 502); }), Kind::providerRefused,
         "unable to retrieve configuration", true},
        {withFault([this] { provider.setMember(Endpoint::Token, "token_type", "\"x\""); }),
         Kind::wrongAnswer, "invalid token type"},
        {withFault(
             [this] { provider.setMember(Endpoint::Discovery, "grant_types_supported", "[]"); }),
         Kind::wrongAnswer, "requested grant type is not supported"},
        {withFault([this] { provider.removeMember(Endpoint::Token, "expires_in"); }),
         Kind::wrongAnswer, "Key not found"},
        {withFault([this] { provider.setDocument(Endpoint::Token, "{"); }), Kind::wrongAnswer,
         "Syntax error"},
        {withFault([this] { provider.setContentType(Endpoint::Token, "text/html"); }),
         Kind::wrongAnswer, "Incorrect Content-Type"},
        {withFault([this] { provider.setMember(Endpoint::Token, "access_token", "\"\xC3(\""); }),
         Kind::wrongAnswer, "UTF-8"},
        {withFault(
             [this] { provider.setMember(Endpoint::Discovery, "token_endpoint", "\"no url\""); }),
         Kind::wrongAnswer, "uri"},
        {[this] { return ofService("http://127.0.0.1:1/"); }, Kind::notReached, "connect", true},
        {withFault([this] {
             provider.closeConnection(Endpoint::Discovery, CloseAt::InsideHead, CloseBy::Reset);
         }),
         Kind::notReached, "status line", true},
        {withFault([this] {
             content->writeFailure =
                 std::make_exception_ptr(standalone::TokenStoreError("disk full"));
         }),
         Kind::store, "disk full"},
        {[this] { return ofUser({}); }, Kind::cannotListen, "cannot construct listener"},
        {[&, this] { return ofUser({taken.url()}); }, Kind::cannotListen, "cannot listen on "},
        {[&, this] { return ofUser({halfPair}); }, Kind::wrongAnswer, "surrogate"},
        {[&, this] {
             helper->setBrowserOpener([](const CString&) { return false; });
             return ofUser({test::freeRedirectUrl()});
         },
         Kind::nobodySignedIn, "unable to request authentication through the browser"},
        {[] { return test::failure([] { COIDCHelper(nullptr, nullptr, nullptr); }); }, Kind::store,
         "token store should be specified"},
        {of(auth::RequiresUserAuthException("x")), Kind::signInNeeded, "x"},
        {of(Concurrency::task_canceled()), Kind::cancelled, ""},
        {of(std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again))),
         Kind::other, ""},
        {of(std::ios_base::failure("x")), Kind::other, "x"},
        {[this] {
             auth::ServiceRequest request;
             request.minValidity = -1min;
             return test::failure([&] { helper->getAccessTokenClientCredentials(request); });
         },
         Kind::other, "minimum validity"},
        {of(web::http::http_exception(std::make_error_code(std::errc::too_many_files_open), "x")),
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
