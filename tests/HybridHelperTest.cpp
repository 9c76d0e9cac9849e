#include "auth/COIDCHelper.h"
#include "testing/TestProvider.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/Eventually.h"
#include "tests/support/HybridFlow.h"
#include "tests/support/LocalPort.h"
#include "tests/support/MemoryStore.h"
#include "tests/support/NearMiss.h"
#include "tests/support/TestClock.h"
#include "tests/support/TokenRecord.h"
#include "tests/support/User.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using auth::COIDCHelper;
using auth::COIDCToken;
using auth::IExclusivePermit;
using auth::RequiresUserAuthException;
using auth::testing::Endpoint;
using Concurrency::cancellation_token;
using Concurrency::cancellation_token_source;
using Concurrency::task;
using test::LogLine;
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

bool isFree(IExclusivePermit& permit) {
    return permit.createLock()->tryLock();
}

/// Helpers with a store and a permit in common, at a provider of their own.
class HybridHelper : public ::testing::Test {
protected:
    std::unique_ptr<COIDCHelper> makeHelper(std::shared_ptr<IExclusivePermit> by) {
        auto made = std::make_unique<COIDCHelper>(std::make_unique<test::MemoryStore>(content),
                                                  std::move(by), test::CapturedLog::loggerTo(log));
        made->setBrowserOpener(user.opener());
        return made;
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

    /// The text of a request's exception, and of which kind it is.
    template <class T>
    static std::string failureOf(const task<T>& request) {
        try {
            test::get(request);
            return "";
        } catch (const RequiresUserAuthException& failure) {
            return std::string("user: ") + failure.what();
        } catch (const Concurrency::task_canceled&) {
            return "cancelled";
        } catch (const std::exception& failure) {
            return failure.what();
        } catch (...) {
            return "something else";
        }
    }

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

    void store(const test::TokenRecord& record) {
        const std::lock_guard<std::mutex> lock(content->mutex);
        content->bytes = record.bytes();
    }

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
            return std::any_of(lines.begin(), lines.end(), [&](const LogLine& line) {
                return line.text.find(text) != std::string::npos;
            });
        });
    }

    std::size_t tokenRequests() const { return provider.requests(Endpoint::Token).size(); }

    bool permitsAreFree() {
        return isFree(*COIDCHelper::getProcessExclusivePermit()) && isFree(*permit);
    }

    /// For clocks that stand still: so far ahead of the provider's that no test catches up with it.
    const std::chrono::system_clock::time_point start = std::chrono::system_clock::now() + 10min;
    auth::testing::TestProvider provider;
    const CString redirectUrl = test::freeRedirectUrl();
    std::shared_ptr<test::StoreContent> content = std::make_shared<test::StoreContent>();
    std::shared_ptr<test::CapturedLog> log = std::make_shared<test::CapturedLog>();
    std::shared_ptr<IExclusivePermit> permit = COIDCHelper::makeExclusivePermit();
    test::User user;
    std::unique_ptr<COIDCHelper> helper = makeHelper(permit);
};

TEST_F(HybridHelper, UsesAStoredTokenWithoutAnyPermit) {
    const auto processLock = COIDCHelper::getProcessExclusivePermit()->createLock();
    const auto helperLock = permit->createLock();
    ASSERT_TRUE(processLock->tryLock() && helperLock->tryLock());
    store(freshRecord());
    EXPECT_EQ(test::get(ask()).accessToken(), CString("of another"));
    EXPECT_EQ(content->rereadFlags, std::vector<bool>{false});
    EXPECT_THAT(
        log->lines(),
        ElementsAre(LogLine{1, "Obtaining token using config url = " + provider.configUrl() +
                                   ", client id = client, scopes = openid, redirect url "
                                   "= " +
                                   redirectUrl.toUtf8()},
                    LogLine{1, "Using stored token."}));
}

/// Every argument of every form, and what it gives.
TEST_F(HybridHelper, GivesInEveryFormWhatWasAskedFor) {
    struct Arguments {
        CString configUrl;
        std::vector<CString> redirectUrls;
        CString clientId = "client";
        CString scopes = "openid more";
        unsigned int minValidity = 9;
        cancellation_token token = cancellation_token::none();
        bool authRequested = false;
    };
    struct Form {
        const char* name;
        std::function<task<CString>(const Arguments&)> ask;
        CString stored;
        bool isBlocking = false;
    };
    const auto requestOf = [](const Arguments& a) {
        auth::UserRequest request;
        request.configUrl = a.configUrl.toUtf8();
        request.clientId = a.clientId.toUtf8();
        request.scopes = a.scopes.toUtf8();
        for (const CString& url : a.redirectUrls) {
            request.redirectUrls.push_back(url.toUtf8());
        }
        request.minValidity = std::chrono::minutes(a.minValidity);
        request.mayAskUser = a.authRequested;
        return request;
    };
    const auto byMembers = [&](auto form) {
        return [this, form](const Arguments& a) {
            return (*helper.*form)(a.configUrl, a.clientId, a.scopes, a.redirectUrls, a.minValidity,
                                   a.token, a.authRequested);
        };
    };
    const auto byStruct = [&](auto form) {
        return [this, form, requestOf](const Arguments& a) {
            return (*helper.*form)(requestOf(a), a.token);
        };
    };
    const auto clientOf = [](auto form) {
        return [form](const Arguments& a) {
            return form(a).then([](const COIDCToken& token) { return token.clientId(); });
        };
    };
    const auto blocking = [](auto form) {
        return [form](const Arguments& a) {
            return Concurrency::create_task([form, a] { return form(a); });
        };
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
        {"access token, blocking", blocking([this](const Arguments& a) {
             return helper->getAccessTokenHybrid(a.configUrl, a.clientId, a.scopes, a.redirectUrls,
                                                 a.minValidity, a.authRequested);
         }),
         "access", true},
        {"access token, struct, blocking",
         blocking([=](const Arguments& a) { return helper->getAccessTokenHybrid(requestOf(a)); }),
         "access", true},
        {"ID token, struct, blocking",
         blocking([=](const Arguments& a) { return helper->getIdTokenHybrid(requestOf(a)); }), "id",
         true},
        {"whole token, struct, blocking", blocking([=](const Arguments& a) {
             return helper->getOIDCTokenHybrid(requestOf(a)).clientId();
         }),
         "client", true},
    };
    test::TestClock clock;
    clock.freezeAt(start);
    test::TokenRecord record;
    record.scopes = {"more", "openid"};
    record.refreshToken = "";
    record.expiresAt = start + 10min;
    const Arguments usual{provider.configUrl(), {redirectUrl}};
    for (const Form& form : forms) {
        SCOPED_TRACE(form.name);
        const auto end = [&](const std::function<void(Arguments&)>& change) {
            Arguments changed = usual;
            change(changed);
            return failureOf(form.ask(changed));
        };
        store(record);
        EXPECT_EQ(test::get(form.ask(usual)), form.stored);
        EXPECT_EQ(end([](auto& a) { a.minValidity = 10; }), "user: unable to refresh token");

        content->bytes.clear();
        EXPECT_EQ(end([](auto& a) {
                      a.authRequested = true;
                      a.redirectUrls.clear();
                  }),
                  "cannot construct listener");
        const cancellation_token_source source;
        source.cancel();
        if (!form.isBlocking) {
            EXPECT_EQ(end([&](auto& a) {
                          a.authRequested = true;
                          a.token = source.get_token();
                      }),
                      "cancelled");
        }
        EXPECT_EQ(end([](auto& a) { a.authRequested = true; }), "");
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
    EXPECT_EQ(failureOf(helper->getIdTokenHybridAsync(request)), "");
    EXPECT_THAT(user.urls().back(), ::testing::EndsWith("&response_mode=form_post&prompt=login"
                                                        "&a%26b%3D=c%20d%2B%25%23%C3%A4&requested=1"
                                                        "&resource=x&resource=y"));
    EXPECT_EQ(provider.requests(Endpoint::Authorization).back().parameter("scope"),
              "openid \xC3\xA4");

    content->rereadFlags.clear();
    const auto end = [&](const std::function<void(auth::UserRequest&)>& change) {
        request = usual;
        change(request);
        return failureOf(helper->getIdTokenHybridAsync(request));
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
    EXPECT_EQ(end([](auto& r) { r.minValidity = std::chrono::minutes(2'147'483'647); }), "");
}

TEST_F(HybridHelper, SaysWhenOnlyTheUserCanHelp) {
    struct Case {
        const char* name;
        std::function<void(test::TokenRecord&)> change;
        std::vector<std::string> lines;
        std::string text;
    };
    const std::vector<std::string> absent = {
        "2Stored token is invalid or does not exists.",
        "3Stored token is invalid or does not exists and auth was not requested."};
    const std::string onlyTheUser = "user: unable to get token";
    const std::vector<Case> cases = {
        {"other client", [](auto& record) { record.clientId = "Client"; }, absent, onlyTheUser},
        {"scope missing", [](auto& record) { record.scopes = {"more"}; }, absent, onlyTheUser},
        {"expired, not to be refreshed",
         [](auto& record) { record.refreshToken = ""; },
         {"3Stored token is expired and auth was not requested."},
         "user: unable to refresh token"},
    };
    for (const Case& row : cases) {
        auto record = expiredRecord();
        row.change(record);
        store(record);
        content->rereadFlags.clear();
        log->takeLines();
        EXPECT_EQ(failureOf(ask()), row.text) << row.name;
        EXPECT_THAT(content->rereadFlags, ElementsAre(false, true)) << row.name;
        std::vector<std::string> lines;
        for (const LogLine& line : log->takeLines()) {
            lines.push_back(std::to_string(line.level) + line.text);
        }
        lines.erase(lines.begin());
        EXPECT_EQ(lines, row.lines) << row.name;
        EXPECT_TRUE(permitsAreFree()) << row.name;
    }
    content->bytes.clear();
    COIDCHelper silent(std::make_unique<test::MemoryStore>(content), permit, nullptr);
    EXPECT_THROW(
        silent.getAccessTokenHybrid(provider.configUrl(), "client", "openid", {}, 0, false),
        RequiresUserAuthException);
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
            failureOf(ask(true, source.get_token()));  // a token or not, in time
            log->onLine({});
            EXPECT_NE(content->bytes, before) << moment;
            EXPECT_EQ(test::load(content->bytes).refreshToken().IsEmpty(), false) << moment;
            EXPECT_TRUE(permitsAreFree()) << moment;
        }
    }
}

TEST_F(HybridHelper, SignsInAndKeepsTheToken) {
    const COIDCToken token = test::get(ask(true));
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
    };
    const std::vector<Case> cases = {
        {"refused", [this] { provider.setStatus(Endpoint::Token, 400); },
         "Failed to refresh token."},
        {"no bearer token",
         [this] { provider.setMember(Endpoint::Token, "token_type", "\"mac\""); },
         "Failed to refresh token. Reason: "},
    };
    for (const bool authRequested : {false, true}) {
        for (const Case& row : cases) {
            test::TestClock clock;
            clock.freezeAt(start);
            store(expiredRecord());
            row.fault();
            provider.resetAfter(Endpoint::Token, 1);
            log->takeLines();
            const auto before = tokenRequests();
            const auto request = ask(authRequested);
            ASSERT_TRUE(logged(row.line)) << row.name;
            EXPECT_TRUE(waitsOn()) << row.name;
            EXPECT_FALSE(request.is_done()) << row.name;
            clock.freezeAt(start + 2s - 1ms);
            EXPECT_TRUE(waitsOn()) << row.name;
            clock.freezeAt(start + 2s);
            EXPECT_EQ(failureOf(request), authRequested ? "" : "user: unable to refresh token")
                << row.name;
            EXPECT_EQ(tokenRequests() - before, authRequested ? 2U : 1U) << row.name;
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
        EXPECT_EQ(failureOf(request), "") << name;
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
        store(freshRecord());
        EXPECT_EQ(test::get(request).accessToken(), CString("of another"));
        EXPECT_EQ(tokenRequests(), before);
    }
}

/// The one who has the permit stores its token and lets go, between the request's read and its try.
TEST_F(HybridHelper, LooksOnceMoreWhenItHasThePermit) {
    const auto handedOver = std::make_shared<FaultyPermit>();
    handedOver->onTry = [this] {
        store(freshRecord());
        return true;
    };
    helper = makeHelper(handedOver);
    for (const bool authRequested : {false, true}) {
        content->bytes.clear();
        if (!authRequested) {
            store(expiredRecord());
        }
        content->rereadFlags.clear();
        EXPECT_EQ(test::get(ask(authRequested)).accessToken(), CString("of another"));
        EXPECT_THAT(content->rereadFlags, ElementsAre(false, true, true));
    }
    EXPECT_EQ(tokenRequests(), 0U);
    EXPECT_TRUE(user.urls().empty());
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
        const std::lock_guard<std::mutex> lock(content->mutex);
        content->bytes = cut.detachCompressedData();
    }
    ASSERT_TRUE(test::eventually([&] { return request.is_done(); }));
    EXPECT_EQ(failureOf(request), "user: unable to get token");
}

TEST_F(HybridHelper, WaitsForTheHelpersPermitNoLongerThan25Seconds) {
    for (const auto& given : {permit, COIDCHelper::getProcessExclusivePermit()}) {
        test::TestClock clock;
        clock.freezeAt(start);
        store(expiredRecord());
        log->takeLines();
        helper = makeHelper(given);
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
        EXPECT_EQ(failureOf(request), "");
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
        EXPECT_EQ(failureOf(request),
                  comesBack ? "" : "unable to get auth code within specified timeframe");
    }
}

TEST_F(HybridHelper, FreesThePermitsWhateverFails) {
    const auto thrown = [](auto failure) { return std::make_exception_ptr(failure); };
    const auto faulty = std::make_shared<FaultyPermit>();
    struct Case {
        const char* name;
        std::function<void()> fault;
        std::string text;
    };
    std::vector<CString> urls = {redirectUrl};
    const std::vector<Case> cases = {
        {"no permit", [&] { helper = makeHelper(nullptr); },
         "exclusive permit should be specified"},
        {"no lock", [&] { helper = makeHelper(faulty); }, "exclusive permit gives no lock"},
        {"the permit throws",
         [&] {
             faulty->onTry = []() -> bool { throw std::runtime_error("lock file"); };
             helper = makeHelper(faulty);
         },
         "lock file"},
        {"the permit throws later",
         [&] {
             faulty->onTry = [tries = 0]() mutable -> bool {
                 return ++tries == 3 ? throw std::runtime_error("lock file") : false;
             };
             helper = makeHelper(faulty);
         },
         "lock file"},
        {"configuration", [&] { provider.setStatus(Endpoint::Discovery, 500); },
         "unable to retrieve server configuration"},
        {"keys", [&] { provider.setStatus(Endpoint::Keys, 500); },
         "unable to retrieve information from jwks endpoint"},
        {"no redirect URL", [&] { urls.clear(); }, "cannot construct listener"},
        {"no browser", [&] { helper->setBrowserOpener([](const CString&) { return false; }); },
         "unable to request authentication through the browser"},
        {"the opener throws something",
         [&] { helper->setBrowserOpener([](const CString&) -> bool { throw 1; }); },
         "something else"},
        {"redemption", [&] { provider.setStatus(Endpoint::Token, 400); },
         "unable to receive access token by auth code"},
        {"store", [&] { content->writeFailure = thrown(std::runtime_error("disk full")); },
         "disk full"},
    };
    for (const Case& row : cases) {
        row.fault();
        EXPECT_EQ(
            failureOf(helper->getOIDCTokenHybridAsync(provider.configUrl(), "client", "openid",
                                                      urls, 0, cancellation_token::none(), true)),
            row.text)
            << row.name;
        EXPECT_TRUE(permitsAreFree()) << row.name;
        EXPECT_TRUE(content->bytes.empty()) << row.name;
        provider.reset();
        content->writeFailure = nullptr;
        urls = {redirectUrl};
        helper = makeHelper(permit);
    }
    // The same where a token is refreshed: its loss is told, and not mended by asking the user.
    store(expiredRecord());
    content->writeFailure = thrown(std::runtime_error("disk full"));
    EXPECT_EQ(failureOf(ask(true)), "disk full");
    EXPECT_TRUE(permitsAreFree());
}

TEST_F(HybridHelper, EndsWhenCancelledAtAnyStep) {
    struct Case {
        const char* name;
        Endpoint waitsAt;
        bool refreshes;
    };
    for (const Case& row : std::vector<Case>{{"configuration", Endpoint::Discovery, false},
                                             {"keys", Endpoint::Keys, true},
                                             {"refresh", Endpoint::Token, true},
                                             {"redemption", Endpoint::Token, false}}) {
        content->bytes.clear();
        if (row.refreshes) {
            store(expiredRecord());
        }
        const cancellation_token_source source;
        const auto before = provider.requests(row.waitsAt).size();
        provider.neverAnswer(row.waitsAt);
        const auto request = ask(true, source.get_token());
        ASSERT_TRUE(provider.waitForRequests(row.waitsAt, before + 1, 10s)) << row.name;
        source.cancel();
        EXPECT_EQ(failureOf(request), "cancelled") << row.name;
        EXPECT_TRUE(permitsAreFree()) << row.name;
        log->takeLines();
        EXPECT_TRUE(provider.waitForClosed(provider.connections(), 10s)) << row.name;
        EXPECT_TRUE(log->lines().empty()) << row.name << " goes on";
        provider.reset();
    }

    content->bytes.clear();
    const cancellation_token_source source;
    helper->setBrowserOpener([](const CString&) { return true; });  // and nobody there
    const auto signingIn = ask(true, source.get_token());
    ASSERT_TRUE(logged("Requesting auth code..."));
    const auto waiting = ask(true, source.get_token());
    EXPECT_TRUE(waitsOn());
    source.cancel();
    EXPECT_EQ(failureOf(signingIn), "cancelled");
    EXPECT_EQ(failureOf(waiting), "cancelled");
    EXPECT_EQ(failureOf(ask(true, source.get_token())), "cancelled");
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
                EXPECT_EQ(failureOf(signedOut), "cancelled") << row.name;
            }
            EXPECT_EQ(content->bytes, before) << row.name;
            hold.release();
            const COIDCToken received = test::get(request);
            if (!isCancelled) {
                EXPECT_EQ(failureOf(signedOut), "") << row.name;
            }
            EXPECT_EQ(content->bytes, isCancelled ? test::store(received) : decltype(before)())
                << row.name;
            EXPECT_TRUE(permitsAreFree()) << row.name;
            EXPECT_EQ(failureOf(ask()), isCancelled ? "" : "user: unable to get token") << row.name;
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
        EXPECT_EQ(failureOf(cancelled), "cancelled");
        EXPECT_EQ(content->bytes, record.bytes());
        EXPECT_FALSE(signedOut.is_done());
        lock.reset();
        EXPECT_EQ(failureOf(signedOut), "");
        EXPECT_TRUE(content->bytes.empty());
        EXPECT_EQ(failureOf(helper->signOutAsync(source.get_token())), "cancelled");
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
    EXPECT_EQ(failureOf(signedOut), "");
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
    ASSERT_TRUE(provider.waitForRequests(Endpoint::Token, 1, 10s));
    hold.release();
    const COIDCToken first = test::get(requests.front());
    for (const auto& request : requests) {
        EXPECT_EQ(test::get(request).accessToken(), first.accessToken());
    }
    EXPECT_EQ(tokenRequests(), 1U);
    EXPECT_TRUE(permitsAreFree());
}

}  // namespace
