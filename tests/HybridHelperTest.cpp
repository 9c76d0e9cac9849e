#include "platform/TaskScheduler.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/HybridHelper.h"
#include "tests/support/Wide.h"

#include <cpprest/base_uri.h>

namespace {

using namespace test;
using namespace std::string_literals;
using auth::UserRequest;
using ::testing::ElementsAre;

TEST_F(HybridHelper, UsesAStoredTokenWithoutAnyPermit) {
    const auto processLock = COIDCHelper::getProcessExclusivePermit()->createLock();
    const auto helperLock = permit->createLock();
    ASSERT_TRUE(processLock->tryLock() && helperLock->tryLock());
    storeFresh();
    EXPECT_EQ(get(ask()).accessToken(), CString("of another"));
    EXPECT_EQ(content->rereadFlags, std::vector<bool>{false});
    EXPECT_THAT(log->lines(),
                ElementsAre("1 Obtaining token using config url = " + provider.configUrl() +
                                ", client id = client, scopes = openid, redirect url = " +
                                redirectUrl.toUtf8(),
                            "1 Using stored token."));
}

std::string textOf(const CString& token) {
    return token.toUtf8();
}
std::string textOf(const COIDCToken& token) {
    return "of " + token.clientId().toUtf8();
}

template <class T>
using Members = task<T> (COIDCHelper::*)(const CString&, const CString&, const CString&,
                                         const std::vector<CString>&, unsigned int,
                                         const cancellation_token&, bool);
template <class T>
using Struct = task<T> (COIDCHelper::*)(const UserRequest&, const cancellation_token&);
template <class T>
using Blocking = T (COIDCHelper::*)(const UserRequest&);

/// Every argument of every form, and its result.
TEST_F(HybridHelper, GivesInEveryFormWhatWasAskedFor) {
    struct Form {
        const char* name;
        std::function<std::string(const UserRequest&, const cancellation_token&)> ask;
        std::string stored;
        bool isBlocking = false;
    };
    const auto urlsOf = [](const UserRequest& by) {
        return std::vector<CString>(by.redirectUrls.begin(), by.redirectUrls.end());
    };
    const auto byMembers = [&](auto form) {
        return [&, form](const UserRequest& by, const auto& token) {
            return textOf(get((*helper.*form)(by.configUrl, by.clientId, by.scopes, urlsOf(by),
                                              static_cast<unsigned>(by.minValidity.count()), token,
                                              by.mayAskUser)));
        };
    };
    const auto byStruct = [&](auto form) {
        return [&, form](const auto&... by) { return textOf(get((*helper.*form)(by...))); };
    };
    const auto blocking = [&](auto form) {
        return [&, form](const auto& by, const auto&) { return textOf((*helper.*form)(by)); };
    };
    using H = COIDCHelper;
    const std::vector<Form> forms = {
        {"access token", byMembers(Members<CString>(&H::getAccessTokenHybridAsync)), "access"},
        {"ID token", byMembers(Members<CString>(&H::getIdTokenHybridAsync)), "id"},
        {"token", byMembers(Members<COIDCToken>(&H::getOIDCTokenHybridAsync)), "of client"},
        {"access token, struct", byStruct(Struct<CString>(&H::getAccessTokenHybridAsync)),
         "access"},
        {"ID token, struct", byStruct(Struct<CString>(&H::getIdTokenHybridAsync)), "id"},
        {"token, struct", byStruct(Struct<COIDCToken>(&H::getOIDCTokenHybridAsync)), "of client"},
        {"access token, blocking",
         [&](const UserRequest& by, const auto&) {
             return textOf(helper->getAccessTokenHybrid(
                 by.configUrl, by.clientId, by.scopes, urlsOf(by),
                 static_cast<unsigned>(by.minValidity.count()), by.mayAskUser));
         },
         "access", true},
        {"access token, struct, blocking", blocking(Blocking<CString>(&H::getAccessTokenHybrid)),
         "access", true},
        {"ID token, struct, blocking", blocking(Blocking<CString>(&H::getIdTokenHybrid)), "id",
         true},
        {"token, struct, blocking", blocking(Blocking<COIDCToken>(&H::getOIDCTokenHybrid)),
         "of client", true},
    };
    TestClock clock;
    clock.freezeAt(start);
    auto record = recordWith({"more", "openid"});
    record.refreshToken = "";
    record.expiresAt = start + 10min;
    std::string opened;
    helper->setBrowserOpener([&](const CString& url) {
        opened = url.toUtf8();
        return false;
    });
    UserRequest request;
    request.configUrl = provider.configUrl();
    request.clientId = "client";
    request.scopes = "openid more";
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        const auto end = [&](const cancellation_token& token = cancellation_token::none()) {
            std::string given;
            const std::string how = outcome([&] { given = form.ask(request, token); });
            return how == "accepted" ? given : how;
        };
        request.redirectUrls = {redirectUrl.toUtf8()};
        request.mayAskUser = false;
        request.minValidity = 9min;
        store(record);
        EXPECT_EQ(end(), form.stored);
        request.minValidity = 10min;
        EXPECT_EQ(end(), "user: unable to refresh token");
        content->bytes.clear();
        request.mayAskUser = true;
        if (!form.isBlocking) {
            const cancellation_token_source cancelled;
            cancelled.cancel();
            EXPECT_EQ(end(cancelled.get_token()), "cancelled");
        }
        opened.clear();
        EXPECT_EQ(end(), "unable to request authentication through the browser");
        EXPECT_THAT(opened,
                    ::testing::HasSubstr("&client_id=client&scope=openid%20more&redirect_uri=" +
                                         urlEncoded(redirectUrl.toUtf8()) + '&'));
        request.redirectUrls.clear();
        EXPECT_EQ(end(), "cannot construct listener");
    }
}

TEST_F(HybridHelper, TakesAStructWhoseMembersMakeSense) {
    UserRequest usual;
    usual.configUrl = provider.configUrl();
    usual.clientId = "client";
    usual.scopes = "openid \xC3\xA4";
    usual.redirectUrls = {redirectUrl.toUtf8()};
    using Change = std::function<void(UserRequest&)>;
    const auto end = [&](const Change& change) {
        auto request = usual;
        change(request);
        return outcome(helper->getIdTokenHybridAsync(request));
    };
    const auto parameters = [](const decltype(UserRequest::authorizationParameters)& all) {
        return [all](UserRequest& by) {
            by.mayAskUser = true;
            by.authorizationParameters = all;
        };
    };
    EXPECT_EQ(end(parameters({{"prompt", "login"},
                              {"a&b=", "c d+%#\xC3\xA4"},
                              {"requested", "1"},
                              {"resource", "x"},
                              {"resource", "y"}})),
              "accepted");
    EXPECT_THAT(user.urls().back(), ::testing::EndsWith("&response_mode=form_post&prompt=login"
                                                        "&a%26b%3D=c%20d%2B%25%23%C3%A4&requested=1"
                                                        "&resource=x&resource=y"));
    EXPECT_EQ(provider.requests(Endpoint::Authorization).back().parameter("scope"),
              "openid \xC3\xA4");

    content->bytes.clear();
    content->rereadFlags.clear();
    for (const std::string name :
         {"response_type", "nonce", "state", "code_challenge", "code_challenge_method", "client_id",
          "scope", "redirect_uri", "response_mode", "request", "request_uri", "client_secret",
          "code_verifier", "Redirect_URI"}) {
        EXPECT_EQ(end(parameters({{"prompt", ""}, {name, "x"}})),
                  "authorization parameter is reserved: " + name);
    }
    EXPECT_EQ(end(parameters({{"", "x"}})), "authorization parameter should have a name");
    for (const auto minutes : {std::chrono::minutes(-1), std::chrono::minutes(2'147'483'648)}) {
        EXPECT_EQ(end([&](auto& by) { by.minValidity = minutes; }),
                  "minimum validity should be between 0 and 2147483647 minutes");
    }
    for (const Change& spoil : std::vector<Change>{
             [](auto& by) { by.configUrl = "\xFF"; }, [](auto& by) { by.clientId = "\xFF"; },
             [](auto& by) { by.scopes = "\xFF"; }, [](auto& by) { by.redirectUrls = {"\xFF"}; },
             parameters({{"\xFF", ""}}), parameters({{"a", "\xFF"}})}) {
        EXPECT_THAT(end(spoil), ::testing::StartsWith("UTF-8"));
    }
    EXPECT_TRUE(content->rereadFlags.empty()) << "the store is not even read";
    EXPECT_EQ(end([](auto& by) { by.minValidity = std::chrono::minutes(2'147'483'647); }),
              "user: unable to get token");
}

TEST_F(HybridHelper, SaysWhenOnlyTheUserCanHelp) {
    const std::string absent =
        "2 Stored token is invalid or does not exists."
        "3 Stored token is invalid or does not exists and auth was not requested.";
    const std::string onlyTheUser = "user: unable to get token";
    for (const auto& row : std::vector<Row<TokenRecord>>{
             {"other client", [](auto& record) { record.clientId = "Client"; }, onlyTheUser,
              absent},
             {"scope missing", [](auto& record) { record.scopes = {"more"}; }, onlyTheUser, absent},
             {"expired, not to be refreshed", [](auto& record) { record.refreshToken = ""; },
              "user: unable to refresh token",
              "3 Stored token is expired and auth was not requested."}}) {
        auto record = expiredRecord();
        row.change(record);
        store(record);
        content->rereadFlags.clear();
        log->takeLines();
        EXPECT_EQ(outcome(ask()), row.outcome) << row.name;
        EXPECT_THAT(content->rereadFlags, ElementsAre(false, true)) << row.name;
        EXPECT_EQ(log->takeFrom(2), row.logged) << row.name;
        EXPECT_TRUE(permitsAreFree()) << row.name;
    }
    content->bytes.clear();
    COIDCHelper silent(std::make_unique<MemoryStore>(content), permit, nullptr);
    EXPECT_EQ(outcome([&] {
                  silent.getAccessTokenHybrid(provider.configUrl(), "client", "openid", {}, 0,
                                              false);
              }),
              onlyTheUser);
    EXPECT_TRUE(provider.requests().empty());
}

TEST_F(HybridHelper, RefreshesAnExpiredToken) {
    const auto record = expiredRecord();
    store(record);
    const COIDCToken refreshed = get(ask());
    EXPECT_EQ(refreshed.scopes(), CString("more openid")) << "those it had, not those asked for";
    EXPECT_EQ(content->bytes, test::store(refreshed));
    EXPECT_FALSE(refreshed.refreshToken().IsEmpty());
    EXPECT_NE(refreshed.refreshToken().toUtf8(), record.refreshToken);
    EXPECT_TRUE(logged("Token has been successfully refreshed."));
    EXPECT_EQ(get(ask()).accessToken(), refreshed.accessToken());
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_TRUE(user.urls().empty());
}

/// A received token is kept, even if the request is cancelled meanwhile.
TEST_F(HybridHelper, KeepsWhatItReceivedThoughItIsCancelled) {
    for (const bool refreshes : {true, false}) {
        for (const std::string& moment :
             {"Extracting token..."s, "Access token extracted successfully."s,
              refreshes ? "Token refreshed successfully."s
                        : "Hybrid authentication performed successfully, token received."s}) {
            storeFor(refreshes);
            const auto before = content->bytes;
            const cancellation_token_source source;
            log->onLine([&](const std::string& line) {
                if (line == moment) {
                    source.cancel();
                }
            });
            outcome(ask(true, source.get_token()));  // a token or not, but in time
            log->onLine({});
            EXPECT_NE(content->bytes, before) << moment;
            EXPECT_EQ(load(content->bytes).refreshToken().IsEmpty(), false) << moment;
            EXPECT_TRUE(permitsAreFree()) << moment;
        }
    }
}

TEST_F(HybridHelper, SignsInAndKeepsTheToken) {
    auto hold = provider.hold(Endpoint::Token);
    const auto request = ask(true);
    const auto free = request.then([this](const task<COIDCToken>&) { return permitsAreFree(); },
                                   platform::inlined());
    hold.release();
    const COIDCToken token = get(request);
    EXPECT_TRUE(get(free)) << "at the moment at which the token is there";
    EXPECT_EQ(content->bytes, test::store(token));
    EXPECT_EQ(get(ask(true)).accessToken(), token.accessToken());
    EXPECT_EQ(user.urls().size(), 1U);
    EXPECT_TRUE(logged("Hybrid authentication performed successfully, token received."));
    EXPECT_TRUE(permitsAreFree());
}

TEST_F(HybridHelper, SendsARefreshTokenOnceAndThenAsksTheUser) {
    const auto refuses = [this](unsigned status, const std::string& words) {
        return [=] {
            provider.setStatus(Endpoint::Token, status);
            provider.setDocument(Endpoint::Token, words);
        };
    };
    struct Case {
        std::function<void()> fault;
        std::string line;
        std::string providerError;
        bool canRetry;
        bool authRequested = false;
    };
    const auto refused = refuses(400, R"({"error": "invalid_grant"})");
    for (const Case& row : std::vector<Case>{
             {refused, "Failed to refresh token.", "invalid_grant", false},
             {refused, "Failed to refresh token.", "", false, true},
             {refuses(503, ""), "Failed to refresh token.", "", true},
             {[this] { provider.setMember(Endpoint::Token, "token_type", "\"mac\""); },
              "Failed to refresh token. Reason: ", "", false}}) {
        SCOPED_TRACE(row.line + row.providerError);
        TestClock clock;
        clock.freezeAt(start);
        store(expiredRecord());
        row.fault();
        provider.resetAfter(Endpoint::Token, 1);
        log->takeLines();
        log->onLine([&](const std::string& line) {
            if (line == "Refreshing token...") {
                clock.freezeAt(start + 10s);  // the pause begins after the refresh
            }
        });
        const auto before = tokenRequests();
        const auto request = ask(row.authRequested);
        ASSERT_TRUE(logged(row.line));
        log->onLine({});
        EXPECT_TRUE(waitsOn());
        EXPECT_FALSE(request.is_done());
        clock.freezeAt(start + 12s - 1ms);
        EXPECT_TRUE(waitsOn());
        clock.freezeAt(start + 12s);
        EXPECT_EQ(outcome(request),
                  row.authRequested ? "accepted" : "user: unable to refresh token");
        EXPECT_EQ(tokenRequests() - before, row.authRequested ? 2U : 1U);
        if (!row.authRequested) {
            const auto error = failure([&] { request.get(); });
            EXPECT_EQ(error.kind(), auth::OIDCError::Kind::signInNeeded);
            EXPECT_EQ(error.providerError(), row.providerError);
            EXPECT_EQ(error.canRetry(), row.canRetry);
        }
    }
    EXPECT_EQ(user.urls().size(), 1U);
}

TEST_F(HybridHelper, RefreshesOnceFor100RequestsAtOnce) {
    store(expiredRecord());
    auto second = makeHelper(permit);
    auto hold = provider.hold(Endpoint::Token);
    std::vector<task<COIDCToken>> requests;
    requests.reserve(100);
    for (int i = 0; i < 100; ++i) {
        requests.push_back(ask());
        helper.swap(second);
    }
    ASSERT_TRUE(provider.waitForRequests(Endpoint::Token, 1, patience));
    hold.release();
    const COIDCToken first = get(requests.front());
    for (const auto& request : requests) {
        EXPECT_EQ(get(request).accessToken(), first.accessToken());
    }
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_TRUE(permitsAreFree());
}

}  // namespace
