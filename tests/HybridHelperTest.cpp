#include "platform/TaskScheduler.h"
#include "testing/TestProvider.h"
#include "tests/support/Application.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/LocalPort.h"
#include "tests/support/Outcome.h"
#include "tests/support/Test.h"
#include "tests/support/TestClock.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/User.h"

#include <algorithm>
#include <atomic>
#include <future>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using auth::COIDCHelper;
using auth::COIDCToken;
using auth::IExclusivePermit;
using auth::testing::Endpoint;
using Concurrency::cancellation_token;
using Concurrency::cancellation_token_source;
using Concurrency::task;
using test::outcome;
using ::testing::ElementsAre;

const std::string givingUp = "Giving up waiting for others to refresh the token.";

/// A permit whose calls fail as a test wants it.
class FaultyPermit final : public IExclusivePermit {
public:
    using Try = std::function<bool()>;

    std::unique_ptr<auth::IPermitLock> createLock() override {
        return onTry ? std::make_unique<Lock>(onTry) : nullptr;
    }

    Try onTry;

private:
    struct Lock final : auth::IPermitLock {
        explicit Lock(Try tried) : onTry(std::move(tried)) {}
        bool tryLock() override { return onTry(); }
        Try onTry;
    };
};

/// An application and its user, at a provider of their own.
class HybridHelper : public ::testing::Test, protected test::Application {
protected:
    HybridHelper() { useHelper(permit); }
    void TearDown() override { helper.reset(); }

    void useHelper(std::shared_ptr<IExclusivePermit> by) {
        helper = makeHelper(std::move(by));
        helper->setBrowserOpener(user.opener());
    }

    task<COIDCToken> ask(bool authRequested = false,
                         const cancellation_token& token = cancellation_token::none(),
                         unsigned int minValidity = 0) {
        return helper->getOIDCTokenHybridAsync(provider.configUrl(), "client", "openid",
                                               {redirectUrl}, minValidity, token, authRequested);
    }

    template <class T>
    using Members = task<T> (COIDCHelper::*)(const CString&, const CString&, const CString&,
                                             const std::vector<CString>&, unsigned int,
                                             const cancellation_token&, bool);
    template <class T>
    using Struct = task<T> (COIDCHelper::*)(const auth::UserRequest&, const cancellation_token&);

    test::TokenRecord expiredRecord() {
        test::TokenRecord record;
        record.scopes = {"openid", "more"};
        record.refreshToken = provider.issueRefreshToken("client");
        record.expiresAt = std::chrono::system_clock::now() - 1h;
        return record;
    }

    test::TokenRecord freshRecord() {
        test::TokenRecord record = expiredRecord();
        record.accessToken = "of another";
        record.expiresAt += 100h;
        return record;
    }

    void store(const test::TokenRecord& record) { content->put(record.bytes()); }

    std::size_t reads() {
        const std::lock_guard<std::mutex> lock(content->mutex);
        return content->rereadFlags.size();
    }

    /// Whether it looks again and again, but not all the time.
    bool waitsOn() {
        const auto before = reads();
        const auto from = std::chrono::steady_clock::now();
        return test::eventually([&] { return reads() >= before + 3; }) &&
               std::chrono::steady_clock::now() - from > 90ms;
    }

    bool logged(const std::string& text) {
        return test::eventually([&] {
            const auto lines = log->lines();
            return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
                return line.find(text) != std::string::npos;
            });
        });
    }

    std::size_t tokenRequests() const { return provider.requests(Endpoint::Token).size(); }

    /// For clocks that stand still: so far ahead of the provider's that no test catches up with it.
    const std::chrono::system_clock::time_point start = std::chrono::system_clock::now() + 10min;
    auth::testing::TestProvider provider;
    const CString redirectUrl = test::freeRedirectUrl();
    test::User user;
};

TEST_F(HybridHelper, UsesAStoredTokenWithoutAnyPermit) {
    const auto processLock = COIDCHelper::getProcessExclusivePermit()->createLock();
    const auto helperLock = permit->createLock();
    ASSERT_TRUE(processLock->tryLock() && helperLock->tryLock());
    store(freshRecord());
    EXPECT_EQ(test::get(ask()).accessToken(), CString("of another"));
    EXPECT_EQ(content->rereadFlags, std::vector<bool>{false});
    EXPECT_THAT(log->lines(),
                ElementsAre("1 Obtaining token using config url = " + provider.configUrl() +
                                ", client id = client, scopes = openid, redirect url = " +
                                redirectUrl.toUtf8(),
                            "1 Using stored token."));
}

/// Every argument of every form, and what it gives.
TEST_F(HybridHelper, GivesInEveryFormWhatWasAskedFor) {
    using Urls = std::vector<CString>;
    struct Form {
        const char* name;
        std::function<task<CString>(const Urls&, unsigned int, cancellation_token, bool)> ask;
        CString stored;
        bool isBlocking = false;
    };
    const CString configUrl = provider.configUrl();
    const auto requestOf = [&](const Urls& urls, unsigned int minValidity, bool authRequested) {
        auth::UserRequest request;
        request.configUrl = configUrl.toUtf8();
        request.clientId = "client";
        request.scopes = "openid more";
        for (const CString& url : urls) {
            request.redirectUrls.push_back(url.toUtf8());
        }
        request.minValidity = std::chrono::minutes(minValidity);
        request.mayAskUser = authRequested;
        return request;
    };
    const auto byMembers = [&](auto form) {
        return [&, form](const Urls& urls, unsigned int minValidity,
                         const cancellation_token& token, bool authRequested) {
            return (*helper.*form)(configUrl, "client", "openid more", urls, minValidity, token,
                                   authRequested);
        };
    };
    const auto byStruct = [&](auto form) {
        return [&, form](const Urls& urls, unsigned int minValidity,
                         const cancellation_token& token, bool authRequested) {
            return (*helper.*form)(requestOf(urls, minValidity, authRequested), token);
        };
    };
    const auto clientOf = [](auto form) {
        return [form](const auto&... arguments) {
            return form(arguments...).then([](const COIDCToken& t) { return t.clientId(); });
        };
    };
    const auto blocking = [&](auto form) {
        return [&, form](const Urls& urls, unsigned int minValidity, const auto&,
                         bool authRequested) {
            return Concurrency::create_task([=] { return form(urls, minValidity, authRequested); });
        };
    };
    const auto blockingStruct = [&](auto form) {
        return blocking([=](const auto&... arguments) { return form(requestOf(arguments...)); });
    };
    const std::vector<Form> forms = {
        {"access token", byMembers(Members<CString>(&COIDCHelper::getAccessTokenHybridAsync)),
         "access"},
        {"ID token", byMembers(Members<CString>(&COIDCHelper::getIdTokenHybridAsync)), "id"},
        {"whole token",
         clientOf(byMembers(Members<COIDCToken>(&COIDCHelper::getOIDCTokenHybridAsync))), "client"},
        {"access token, struct", byStruct(Struct<CString>(&COIDCHelper::getAccessTokenHybridAsync)),
         "access"},
        {"ID token, struct", byStruct(Struct<CString>(&COIDCHelper::getIdTokenHybridAsync)), "id"},
        {"whole token, struct",
         clientOf(byStruct(Struct<COIDCToken>(&COIDCHelper::getOIDCTokenHybridAsync))), "client"},
        {"access token, blocking",
         blocking([&](const Urls& urls, unsigned int minValidity, bool authRequested) {
             return helper->getAccessTokenHybrid(configUrl, "client", "openid more", urls,
                                                 minValidity, authRequested);
         }),
         "access", true},
        {"access token, struct, blocking",
         blockingStruct([&](const auto& r) { return helper->getAccessTokenHybrid(r); }), "access",
         true},
        {"ID token, struct, blocking",
         blockingStruct([&](const auto& r) { return helper->getIdTokenHybrid(r); }), "id", true},
        {"whole token, struct, blocking",
         blockingStruct([&](const auto& r) { return helper->getOIDCTokenHybrid(r).clientId(); }),
         "client", true},
    };
    test::TestClock clock;
    clock.freezeAt(start);
    test::TokenRecord record;
    record.scopes = {"more", "openid"};
    record.refreshToken = "";
    record.expiresAt = start + 10min;
    const auto never = cancellation_token::none();
    const cancellation_token_source cancelled;
    cancelled.cancel();
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        store(record);
        EXPECT_EQ(test::get(form.ask({redirectUrl}, 9, never, false)), form.stored);
        EXPECT_EQ(outcome(form.ask({redirectUrl}, 10, never, false)),
                  "user: unable to refresh token");
        content->bytes.clear();
        EXPECT_EQ(outcome(form.ask({}, 9, never, true)), "cannot construct listener");
        if (!form.isBlocking) {
            EXPECT_EQ(outcome(form.ask({redirectUrl}, 9, cancelled.get_token(), true)),
                      "cancelled");
        }
        EXPECT_EQ(outcome(form.ask({redirectUrl}, 9, never, true)), "accepted");
        const auto asked = provider.requests(Endpoint::Authorization).back();
        EXPECT_EQ(asked.parameter("client_id"), "client");
        EXPECT_EQ(asked.parameter("scope"), "openid more");
        EXPECT_EQ(asked.parameter("redirect_uri"), redirectUrl.toUtf8());
    }
}

TEST_F(HybridHelper, TakesAStructWhoseMembersMakeSense) {
    auth::UserRequest usual;
    usual.configUrl = provider.configUrl();
    usual.clientId = "client";
    usual.scopes = "openid \xC3\xA4";
    usual.redirectUrls = {redirectUrl.toUtf8()};
    usual.mayAskUser = true;
    auto request = usual;
    request.authorizationParameters = {{"prompt", "login"},
                                       {"a&b=", "c d+%#\xC3\xA4"},
                                       {"requested", "1"},
                                       {"resource", "x"},
                                       {"resource", "y"}};
    EXPECT_EQ(outcome(helper->getIdTokenHybridAsync(request)), "accepted");
    EXPECT_THAT(user.urls().back(), ::testing::EndsWith("&response_mode=form_post&prompt=login"
                                                        "&a%26b%3D=c%20d%2B%25%23%C3%A4&requested=1"
                                                        "&resource=x&resource=y"));
    EXPECT_EQ(provider.requests(Endpoint::Authorization).back().parameter("scope"),
              "openid \xC3\xA4");

    content->rereadFlags.clear();
    const auto end = [&](const std::function<void(auth::UserRequest&)>& change) {
        request = usual;
        change(request);
        return outcome(helper->getIdTokenHybridAsync(request));
    };
    for (const std::string name :
         {"response_type", "nonce", "state", "code_challenge", "code_challenge_method", "client_id",
          "scope", "redirect_uri", "response_mode", "request", "request_uri", "client_secret",
          "code_verifier", "Redirect_URI"}) {
        EXPECT_EQ(end([&](auto& r) {
                      r.authorizationParameters = {{"prompt", ""}, {name, "x"}};
                  }),
                  "authorization parameter is reserved: " + name);
    }
    EXPECT_EQ(end([](auto& r) {
                  r.authorizationParameters = {{"", "x"}};
              }),
              "authorization parameter should have a name");
    for (const auto minutes : {std::chrono::minutes(-1), std::chrono::minutes(2'147'483'648)}) {
        EXPECT_EQ(end([&](auto& r) { r.minValidity = minutes; }),
                  "minimum validity should be between 0 and 2147483647 minutes");
    }
    for (const auto& spoil : std::vector<std::function<void(auth::UserRequest&)>>{
             [](auto& r) { r.configUrl = "\xFF"; }, [](auto& r) { r.clientId = "\xFF"; },
             [](auto& r) { r.scopes = "\xFF"; }, [](auto& r) { r.redirectUrls.back() = "\xFF"; },
             [](auto& r) {
                 r.authorizationParameters = {{"\xFF", ""}};
             },
             [](auto& r) {
                 r.authorizationParameters = {{"a", "\xFF"}};
             }}) {
        EXPECT_THAT(end(spoil), ::testing::StartsWith("UTF-8"));
    }
    EXPECT_TRUE(content->rereadFlags.empty()) << "the store is not even read";
    EXPECT_EQ(end([](auto& r) { r.minValidity = std::chrono::minutes(2'147'483'647); }),
              "accepted");
}

TEST_F(HybridHelper, SaysWhenOnlyTheUserCanHelp) {
    const std::string absent =
        "2 Stored token is invalid or does not exists."
        "3 Stored token is invalid or does not exists and auth was not requested.";
    const std::string onlyTheUser = "user: unable to get token";
    for (const auto& row : std::vector<test::Row<test::TokenRecord>>{
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
        std::string lines;
        for (const std::string& line : log->takeLines()) {
            lines += line.front() == '1' ? "" : line;
        }
        EXPECT_EQ(lines, row.logged) << row.name;
        EXPECT_TRUE(permitsAreFree()) << row.name;
    }
    content->bytes.clear();
    COIDCHelper silent(std::make_unique<test::MemoryStore>(content), permit, nullptr);
    EXPECT_EQ(outcome([&] {
                  silent.getAccessTokenHybrid(provider.configUrl(), "client", "openid", {}, 0,
                                              false);
              }),
              onlyTheUser);
    EXPECT_TRUE(provider.requests().empty());
}

TEST_F(HybridHelper, RefreshesAnExpiredToken) {
    store(expiredRecord());
    const COIDCToken old = test::load(content->bytes);
    COIDCToken refreshed = test::get(ask());
    EXPECT_EQ(refreshed.scopes(), CString("more openid")) << "those it had, not those asked for";
    EXPECT_EQ(content->bytes, test::store(refreshed));
    EXPECT_FALSE(refreshed.refreshToken().IsEmpty());
    EXPECT_NE(refreshed.refreshToken(), old.refreshToken());
    EXPECT_TRUE(logged("Token has been successfully refreshed."));
    EXPECT_EQ(test::get(ask()).accessToken(), refreshed.accessToken());
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_TRUE(user.urls().empty());
}

/// What was received and paid for is kept, whoever gives up meanwhile.
TEST_F(HybridHelper, KeepsWhatItReceivedThoughItIsCancelled) {
    for (const bool refreshes : {true, false}) {
        for (const std::string& moment :
             {"Extracting token..."s, "Access token extracted successfully."s,
              refreshes ? "Token refreshed successfully."s
                        : "Hybrid authentication performed successfully, token received."s}) {
            store(refreshes ? expiredRecord() : test::TokenRecord());
            const auto before = content->bytes;
            const cancellation_token_source source;
            log->onLine([&](const std::string& line) {
                if (line == moment) {
                    source.cancel();
                }
            });
            outcome(ask(true, source.get_token()));  // a token or not, in time
            log->onLine({});
            EXPECT_NE(content->bytes, before) << moment;
            EXPECT_EQ(test::load(content->bytes).refreshToken().IsEmpty(), false) << moment;
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
    const COIDCToken token = test::get(request);
    EXPECT_TRUE(test::get(free)) << "at the moment at which the token is there";
    EXPECT_EQ(content->bytes, test::store(token));
    EXPECT_EQ(test::get(ask(true)).accessToken(), token.accessToken());
    EXPECT_EQ(user.urls().size(), 1U);
    EXPECT_TRUE(logged("Hybrid authentication performed successfully, token received."));
    EXPECT_TRUE(permitsAreFree());
}

TEST_F(HybridHelper, SendsARefreshTokenOnceAndThenAsksTheUser) {
    struct Case {
        const char* name;
        std::function<void()> fault;
        std::string line;
        std::string providerError;
        bool canRetry;
    };
    const std::vector<Case> cases = {
        {"refused",
         [this] {
             provider.setStatus(Endpoint::Token, 400);
             provider.setDocument(Endpoint::Token, R"({"error": "invalid_grant"})");
         },
         "Failed to refresh token.", "invalid_grant", false},
        {"not now",
         [this] {
             provider.setStatus(Endpoint::Token, 503);
             provider.setDocument(Endpoint::Token, "");
         },
         "Failed to refresh token.", "", true},
        {"no bearer token",
         [this] { provider.setMember(Endpoint::Token, "token_type", "\"mac\""); },
         "Failed to refresh token. Reason: ", "", false},
    };
    for (const bool authRequested : {false, true}) {
        for (const Case& row : cases) {
            test::TestClock clock;
            clock.freezeAt(start);
            store(expiredRecord());
            row.fault();
            provider.resetAfter(Endpoint::Token, 1);
            log->takeLines();
            log->onLine([&](const std::string& line) {
                if (line == "Refreshing token...") {
                    clock.freezeAt(start + 10s);  // the pause begins behind the refresh
                }
            });
            const auto before = tokenRequests();
            const auto request = ask(authRequested);
            ASSERT_TRUE(logged(row.line)) << row.name;
            log->onLine({});
            EXPECT_TRUE(waitsOn()) << row.name;
            EXPECT_FALSE(request.is_done()) << row.name;
            clock.freezeAt(start + 12s - 1ms);
            EXPECT_TRUE(waitsOn()) << row.name;
            clock.freezeAt(start + 12s);
            EXPECT_EQ(outcome(request),
                      authRequested ? "accepted" : "user: unable to refresh token")
                << row.name;
            EXPECT_EQ(tokenRequests() - before, authRequested ? 2U : 1U) << row.name;
            if (!authRequested) {
                const auto error = test::failure([&] { request.get(); });
                EXPECT_EQ(error.kind(), auth::OIDCError::Kind::signInNeeded);
                EXPECT_EQ(error.providerError(), row.providerError);
                EXPECT_EQ(error.canRetry(), row.canRetry) << row.name;
            }
        }
    }
    EXPECT_EQ(user.urls().size(), cases.size());
}

TEST_F(HybridHelper, TakesTheTokenThatAnotherStores) {
    test::TestClock clock;
    clock.freezeAt(start);
    // While it pauses after a failed refresh.
    provider.setStatus(Endpoint::Token, 400);
    store(expiredRecord());
    auto request = ask();
    ASSERT_TRUE(logged("Failed to refresh token."));
    store(freshRecord());
    EXPECT_EQ(test::get(request).accessToken(), CString("of another"));
    content->rereadFlags.resize(3);
    EXPECT_THAT(content->rereadFlags, ElementsAre(false, true, true));
    provider.reset();

    // While it pauses, an expired one whose refresh token only resembles the one that failed.
    auto record = expiredRecord();
    for (const auto& [name, edit] : test::nearMisses()) {
        const std::string good = provider.issueRefreshToken("client");
        record.refreshToken = edit(good);
        if (record.refreshToken.empty()) {
            continue;
        }
        store(record);
        log->takeLines();
        request = ask();
        ASSERT_TRUE(logged("Failed to refresh token.")) << name;
        record.refreshToken = good;
        store(record);
        EXPECT_EQ(outcome(request), "accepted") << name;
    }

    // While it waits for either permit.
    for (const auto& held : {COIDCHelper::getProcessExclusivePermit(), permit}) {
        store(expiredRecord());
        const auto lock = held->createLock();
        ASSERT_TRUE(lock->tryLock());
        const auto before = tokenRequests();
        request = ask(true);
        EXPECT_TRUE(waitsOn());
        EXPECT_NE(isFree(*permit), held == permit) << "the process's comes first";
        if (held != permit) {
            clock.freezeAt(start + 25s);
            EXPECT_TRUE(waitsOn()) << "for that one as long as it takes";
        }
        store(freshRecord());
        EXPECT_EQ(test::get(request).accessToken(), CString("of another"));
        EXPECT_EQ(tokenRequests(), before);
    }
}

/// The one who has the permit stores its token and lets go, between the request's read and its try.
TEST_F(HybridHelper, LooksOnceMoreWhenItHasThePermit) {
    const auto handedOver = std::make_shared<FaultyPermit>();
    useHelper(handedOver);
    for (const bool later : {false, true}) {  // than the process's
        handedOver->onTry = [this, later, tries = 0]() mutable {
            const bool has = ++tries > (later ? 1 : 0);
            if (has) {
                store(freshRecord());
            }
            return has;
        };
        for (const bool authRequested : {false, true}) {
            content->bytes.clear();
            if (!authRequested) {
                store(expiredRecord());
            }
            content->rereadFlags.clear();
            EXPECT_EQ(test::get(ask(authRequested)).accessToken(), CString("of another"));
            std::vector<bool> flags(later ? 4 : 3, true);
            flags[0] = false;
            EXPECT_EQ(content->rereadFlags, flags);
        }
    }
    EXPECT_EQ(tokenRequests(), 0U);
    EXPECT_TRUE(user.urls().empty());

    // What it cannot read again is what it was.
    store(expiredRecord());
    handedOver->onTry = [this] {
        content->readFailure = std::make_exception_ptr(std::runtime_error("disk"));
        return true;
    };
    EXPECT_EQ(outcome(ask()), "accepted");
    EXPECT_EQ(tokenRequests(), 1U);
}

TEST_F(HybridHelper, PausesForNoRecordThatDoesNotLoad) {
    test::TestClock clock;
    clock.freezeAt(start);
    provider.setStatus(Endpoint::Token, 400);
    const auto record = expiredRecord();
    store(record);
    const auto request = ask();
    ASSERT_TRUE(logged("Failed to refresh token."));
    EXPECT_TRUE(waitsOn());
    {
        // It ends behind the refresh token that failed.
        CMemoryArchive cut;
        cut.startSection("OIDCToken", true);
        cut.archive() << CString(record.accessToken) << CString(record.refreshToken);
        cut.Close();
        content->put(cut.detachCompressedData());
    }
    EXPECT_EQ(outcome(request), "user: unable to get token");
}

TEST_F(HybridHelper, WaitsForTheHelpersPermitNoLongerThan25Seconds) {
    for (const auto& given : {permit, COIDCHelper::getProcessExclusivePermit()}) {
        test::TestClock clock;
        clock.freezeAt(start);
        store(expiredRecord());
        log->takeLines();
        useHelper(given);
        EXPECT_EQ(log->textAt(3).empty(), given == permit) << "a warning";
        const auto lock = permit->createLock();
        ASSERT_TRUE(lock->tryLock());
        const auto request = ask();
        EXPECT_TRUE(waitsOn());
        clock.freezeAt(start + 25s - 1ms);
        EXPECT_TRUE(waitsOn());
        EXPECT_FALSE(request.is_done());
        if (given == permit) {
            clock.setSystemClock(-30s);  // does not prolong the wait
        }
        clock.freezeAt(start + 25s);
        EXPECT_EQ(outcome(request), "accepted");
        EXPECT_TRUE(logged(givingUp));
    }
    EXPECT_TRUE(permitsAreFree());
}

TEST_F(HybridHelper, GivesTheUser90Seconds) {
    for (const bool comesBack : {true, false}) {
        test::TestClock clock;
        clock.freezeAt(start);
        std::promise<void> opened;
        test::User slow([&](const std::string& url) {
            const auto form = auth::testing::openPage(url);
            if (comesBack) {
                clock.freezeAt(start + 90s - 1ms);
                auth::testing::submit(form);
            }
            opened.set_value();
        });
        helper->setBrowserOpener(slow.opener());
        content->bytes.clear();
        const auto request = ask(true);
        opened.get_future().wait();
        // Perhaps the wait begins only now.
        for (int round = 1; !comesBack && !request.is_done() && round < 5; ++round) {
            clock.freezeAt(start + round * 90s);
            test::eventually([&] { return request.is_done(); }, 1s);
        }
        EXPECT_EQ(outcome(request),
                  comesBack ? "accepted" : "unable to get auth code within specified timeframe");
    }
}

TEST_F(HybridHelper, FreesThePermitsWhateverFails) {
    const auto thrown = [](auto failure) { return std::make_exception_ptr(failure); };
    const auto faulty = std::make_shared<FaultyPermit>();
    struct Case {
        std::string text;
        std::function<void()> fault;
    };
    std::vector<CString> urls = {redirectUrl};
    const std::vector<Case> cases = {
        {"exclusive permit should be specified", [&] { useHelper(nullptr); }},
        {"exclusive permit gives no lock", [&] { useHelper(faulty); }},
        {"lock file",
         [&] {
             faulty->onTry = []() -> bool { throw std::runtime_error("lock file"); };
             useHelper(faulty);
         }},
        {"lock file, later",
         [&] {
             faulty->onTry = [tries = 0]() mutable -> bool {
                 return ++tries == 3 ? throw std::runtime_error("lock file, later") : false;
             };
             useHelper(faulty);
         }},
        {"cannot construct listener", [&] { urls.clear(); }},
        {"unable to request authentication through the browser",
         [&] { helper->setBrowserOpener([](const CString&) { return false; }); }},
        {"something else",
         [&] { helper->setBrowserOpener([](const CString&) -> bool { throw 1; }); }},
        {"disk full", [&] { content->writeFailure = thrown(std::runtime_error("disk full")); }},
    };
    for (const Case& row : cases) {
        row.fault();
        EXPECT_EQ(
            outcome(helper->getOIDCTokenHybridAsync(provider.configUrl(), "client", "openid", urls,
                                                    0, cancellation_token::none(), true)),
            row.text);
        EXPECT_TRUE(permitsAreFree()) << row.text;
        EXPECT_TRUE(content->bytes.empty()) << row.text;
        provider.reset();
        content->writeFailure = nullptr;
        urls = {redirectUrl};
        useHelper(permit);
    }
    // The same where a token is refreshed: its loss is told, and not mended by asking the user.
    store(expiredRecord());
    content->writeFailure = thrown(std::runtime_error("disk full"));
    EXPECT_EQ(outcome(ask(true)), "disk full");
    EXPECT_TRUE(permitsAreFree());
}

TEST_F(HybridHelper, EndsWhenCancelledAtAnyStep) {
    for (const auto& [waitsAt, refreshes] : {std::pair{Endpoint::Discovery, false},
                                             {Endpoint::Keys, true},
                                             {Endpoint::Token, true},
                                             {Endpoint::Token, false}}) {
        SCOPED_TRACE(testing::Message() << provider.url(waitsAt) << ' ' << refreshes);
        content->bytes.clear();
        if (refreshes) {
            store(expiredRecord());
        }
        const cancellation_token_source source;
        const auto before = provider.requests(waitsAt).size();
        provider.neverAnswer(waitsAt);
        const auto request = ask(true, source.get_token());
        ASSERT_TRUE(provider.waitForRequests(waitsAt, before + 1, test::patience));
        source.cancel();
        EXPECT_EQ(outcome(request), "cancelled");
        EXPECT_TRUE(permitsAreFree());
        log->takeLines();
        EXPECT_TRUE(provider.waitForClosed(provider.connections(), test::patience));
        EXPECT_TRUE(log->lines().empty()) << "goes on";
        provider.reset();
    }

    content->bytes.clear();
    const cancellation_token_source source;
    helper->setBrowserOpener([](const CString&) { return true; });  // and nobody there
    const auto signingIn = ask(true, source.get_token());
    ASSERT_TRUE(logged("Requesting auth code..."));
    const cancellation_token_source ofTheWaiting;
    const auto waiting = ask(true, ofTheWaiting.get_token());
    EXPECT_TRUE(waitsOn());
    ofTheWaiting.cancel();
    EXPECT_EQ(outcome(waiting), "cancelled");
    EXPECT_FALSE(signingIn.is_done());
    source.cancel();
    EXPECT_EQ(outcome(signingIn), "cancelled");
    EXPECT_EQ(outcome(ask(true, source.get_token())), "cancelled");
    EXPECT_TRUE(permitsAreFree());
}

/// What a request under way receives is its caller's, and is stored unless somebody signs out.
TEST_F(HybridHelper, SignsOutBehindARequestAtAnyStep) {
    struct Case {
        const char* name;
        Endpoint waitsAt;
        bool refreshes;
    };
    for (const Case& row : std::vector<Case>{{"configuration", Endpoint::Discovery, false},
                                             {"keys", Endpoint::Keys, true},
                                             {"refresh", Endpoint::Token, true},
                                             {"redemption", Endpoint::Token, false}}) {
        for (const bool isCancelled : {false, true}) {
            content->bytes.clear();
            if (row.refreshes) {
                store(expiredRecord());
            }
            const auto before = content->bytes;
            const auto requests = provider.requests(row.waitsAt).size();
            auto hold = provider.hold(row.waitsAt);
            const auto request = ask(true);
            ASSERT_TRUE(provider.waitForRequests(row.waitsAt, requests + 1, 10s)) << row.name;
            const cancellation_token_source source;
            const auto signedOut = helper->signOutAsync(source.get_token());
            EXPECT_FALSE(signedOut.is_done());
            if (isCancelled) {
                source.cancel();
                EXPECT_EQ(outcome(signedOut), "cancelled") << row.name;
            }
            EXPECT_EQ(content->bytes, before) << row.name;
            hold.release();
            const COIDCToken received = test::get(request);
            if (!isCancelled) {
                EXPECT_EQ(outcome(signedOut), "accepted") << row.name;
            }
            EXPECT_EQ(content->bytes, isCancelled ? test::store(received) : decltype(before)())
                << row.name;
            EXPECT_TRUE(permitsAreFree()) << row.name;
            EXPECT_EQ(outcome(ask()), isCancelled ? "accepted" : "user: unable to get token")
                << row.name;
        }
    }
}

TEST_F(HybridHelper, SignsOutUnderBothPermits) {
    const auto record = freshRecord();
    for (const auto& held : {COIDCHelper::getProcessExclusivePermit(), permit}) {
        store(record);
        auto lock = held->createLock();
        ASSERT_TRUE(lock->tryLock());
        const cancellation_token_source source;
        const auto cancelled = helper->signOutAsync(source.get_token());
        const auto signedOut = helper->signOutAsync(cancellation_token::none());
        EXPECT_TRUE(
            test::eventually([&] { return !isFree(*COIDCHelper::getProcessExclusivePermit()); }));
        EXPECT_NE(isFree(*permit), held == permit) << "the process's comes first";
        source.cancel();
        EXPECT_EQ(outcome(cancelled), "cancelled");
        EXPECT_EQ(content->bytes, record.bytes());
        EXPECT_FALSE(signedOut.is_done());
        lock.reset();
        EXPECT_EQ(outcome(signedOut), "accepted");
        EXPECT_TRUE(content->bytes.empty());
        EXPECT_EQ(outcome(helper->signOutAsync(source.get_token())), "cancelled");
    }
    EXPECT_TRUE(permitsAreFree());

    // Somebody may have gone away from a sign-in.
    const auto faulty = std::make_shared<FaultyPermit>();
    std::atomic<int> tries{0};
    faulty->onTry = [&tries] { return ++tries < 0; };
    helper = makeHelper(faulty);
    test::TestClock clock;
    clock.freezeAt(start);
    store(record);
    const auto signedOut = helper->signOutAsync(cancellation_token::none());
    for (const auto passed : {0ms, 25'000ms - 1ms}) {
        clock.freezeAt(start + passed);
        const int before = tries;
        EXPECT_TRUE(test::eventually([&] { return tries > before + 2; }));
        EXPECT_FALSE(content->bytes.empty());
    }
    clock.freezeAt(start + 25s);
    EXPECT_EQ(outcome(signedOut), "accepted");
    EXPECT_TRUE(content->bytes.empty());
    EXPECT_TRUE(logged(givingUp));
    helper = makeHelper(nullptr);
    EXPECT_EQ(test::outcome([&] { return helper->signOut(), true; }),
              "exclusive permit should be specified");
}

/// Between a request's read and its turn, and then the store cannot be read.
TEST_F(HybridHelper, StoresNothingOfWhomSomebodySignedOut) {
    for (const bool refreshes : {true, false}) {
        content->bytes.clear();
        if (refreshes) {
            store(expiredRecord());
        }
        content->rereadFlags.clear();
        content->afterRead = [&] {
            if (content->rereadFlags.size() == 2) {
                helper->signOut();
                content->readFailure = std::make_exception_ptr(std::runtime_error("disk"));
            }
        };
        const COIDCToken received = test::get(ask(true));
        content->afterRead = nullptr;
        content->readFailure = nullptr;
        EXPECT_EQ(content->bytes, refreshes ? std::vector<std::uint8_t>() : test::store(received));
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
    ASSERT_TRUE(provider.waitForRequests(Endpoint::Token, 1, test::patience));
    hold.release();
    const COIDCToken first = test::get(requests.front());
    for (const auto& request : requests) {
        EXPECT_EQ(test::get(request).accessToken(), first.accessToken());
    }
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_TRUE(permitsAreFree());
}

}  // namespace
