// A user's requests while others refresh, sign in or sign out, and while they are cancelled.

#include "tests/support/HttpClient.h"
#include "tests/support/HybridHelper.h"

namespace {

using namespace test;
using ::testing::ElementsAre;

const std::string givingUp = "Giving up waiting for others to refresh the token.";

std::exception_ptr thrown(const std::string& text) {
    return std::make_exception_ptr(std::runtime_error(text));
}

TEST_F(HybridHelper, TakesTheTokenThatAnotherStores) {
    TestClock clock;
    clock.freezeAt(start);
    // During the pause after a failed refresh.
    provider.setStatus(Endpoint::Token, 400);
    store(expiredRecord());
    auto request = ask();
    ASSERT_TRUE(logged("Failed to refresh token."));
    storeFresh();
    EXPECT_EQ(get(request).accessToken(), CString("of another"));
    content->rereadFlags.resize(3);
    EXPECT_THAT(content->rereadFlags, ElementsAre(false, true, true));
    provider.reset();

    // During the pause, an expired record whose refresh token is only similar to the failed one.
    auto record = expiredRecord();
    for (const auto& [name, edit] : nearMisses()) {
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

    // While waiting for either permit.
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
        storeFresh();
        EXPECT_EQ(get(request).accessToken(), CString("of another"));
        EXPECT_EQ(tokenRequests(), before);
    }
}

/// The holder of the permit stores its token and releases the permit between the request's read and
/// its attempt to lock.
TEST_F(HybridHelper, LooksOnceMoreWhenItHasThePermit) {
    const auto handedOver = std::make_shared<FaultyPermit>();
    useHelper(handedOver);
    for (const bool later : {false, true}) {  // later than the process's
        handedOver->onTry = [this, later, tries = 0]() mutable {
            const bool has = ++tries > (later ? 1 : 0);
            if (has) {
                storeFresh();
            }
            return has;
        };
        for (const bool authRequested : {false, true}) {
            storeFor(!authRequested);
            content->rereadFlags.clear();
            EXPECT_EQ(get(ask(authRequested)).accessToken(), CString("of another"));
            std::vector<bool> flags(later ? 4 : 3, true);
            flags[0] = false;
            EXPECT_EQ(content->rereadFlags, flags);
        }
    }
    EXPECT_EQ(tokenRequests(), 0U);
    EXPECT_TRUE(user.urls().empty());

    // A record that cannot be read again counts as unchanged.
    store(expiredRecord());
    handedOver->onTry = [this] {
        content->readFailure = thrown("disk");
        return true;
    };
    EXPECT_EQ(outcome(ask()), "accepted");
    EXPECT_EQ(tokenRequests(), 1U);
}

TEST_F(HybridHelper, PausesForNoRecordThatDoesNotLoad) {
    TestClock clock;
    clock.freezeAt(start);
    provider.setStatus(Endpoint::Token, 400);
    const auto record = expiredRecord();
    store(record);
    const auto request = ask();
    ASSERT_TRUE(logged("Failed to refresh token."));
    EXPECT_TRUE(waitsOn());
    // The record ends after the failed refresh token.
    CMemoryArchive cut;
    cut.startSection("OIDCToken", true);
    cut.archive() << CString(record.accessToken) << CString(record.refreshToken);
    cut.Close();
    content->put(cut.detachCompressedData());
    EXPECT_EQ(outcome(request), "user: unable to get token");
}

TEST_F(HybridHelper, WaitsForTheHelpersPermitNoLongerThan25Seconds) {
    for (const auto& given : {permit, COIDCHelper::getProcessExclusivePermit()}) {
        TestClock clock;
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
        TestClock clock;
        clock.freezeAt(start);
        std::promise<void> opened;
        User slow([&](const std::string& url) {
            const auto form = openPage(url);
            if (comesBack) {
                clock.freezeAt(start + 90s - 1ms);
                submit(form);
            }
            opened.set_value();
        });
        helper->setBrowserOpener(slow.opener());
        content->bytes.clear();
        const auto request = ask(true);
        opened.get_future().wait();
        // The wait may only begin now.
        for (int round = 1; !comesBack && !request.is_done() && round < 5; ++round) {
            clock.freezeAt(start + round * 90s);
            eventually([&] { return request.is_done(); }, 1s);
        }
        EXPECT_EQ(outcome(request),
                  comesBack ? "accepted" : "unable to get auth code within specified timeframe");
    }
}

TEST_F(HybridHelper, FreesThePermitsWhateverFails) {
    const auto faulty = std::make_shared<FaultyPermit>();
    const auto tries = [&](FaultyPermit::Try onTry) {
        return [&, onTry = std::move(onTry)] {
            faulty->onTry = onTry;
            useHelper(faulty);
        };
    };
    const auto opener = [&](const auto& open) {
        return [&, open] { helper->setBrowserOpener(open); };
    };
    std::vector<CString> urls;
    const std::vector<std::pair<std::string, std::function<void()>>> faults = {
        {"exclusive permit should be specified", [&] { useHelper(nullptr); }},
        {"exclusive permit gives no lock", tries(nullptr)},
        {"lock file", tries([]() -> bool { throw std::runtime_error("lock file"); })},
        {"lock file, later", tries([count = 0]() mutable -> bool {
             return ++count == 3 ? throw std::runtime_error("lock file, later") : false;
         })},
        {"cannot construct listener", [&] { urls.clear(); }},
        {"unable to request authentication through the browser",
         opener([](const CString&) { return false; })},
        {"something else", opener([](const CString&) -> bool { throw 1; })},
        {"disk full", [&] { content->writeFailure = thrown("disk full"); }},
        // If a refreshed token cannot be stored, that is reported, and the user is not asked
        // instead.
        {"refresh: disk full",
         [&] {
             store(expiredRecord());
             content->writeFailure = thrown("refresh: disk full");
         }},
    };
    for (const auto& [text, fault] : faults) {
        urls = {redirectUrl};
        useHelper(permit);
        fault();
        const auto before = content->bytes;
        EXPECT_EQ(outcome(askAt(urls, true)), text);
        EXPECT_TRUE(permitsAreFree()) << text;
        EXPECT_EQ(content->bytes, before) << text;
        content->writeFailure = nullptr;
    }
}

/// A stage at which a request waits for the provider.
struct Stage {
    Endpoint waitsAt;
    bool refreshes;
};
const std::vector<Stage> stages = {{Endpoint::Discovery, false},
                                   {Endpoint::Keys, true},
                                   {Endpoint::Token, true},
                                   {Endpoint::Token, false}};

TEST_F(HybridHelper, EndsWhenCancelledAtAnyStep) {
    for (const auto& [waitsAt, refreshes] : stages) {
        SCOPED_TRACE(provider.url(waitsAt) + (refreshes ? ", refresh" : ""));
        storeFor(refreshes);
        const cancellation_token_source source;
        const auto before = provider.requests(waitsAt).size();
        provider.neverAnswer(waitsAt);
        const auto request = ask(true, source.get_token());
        ASSERT_TRUE(provider.waitForRequests(waitsAt, before + 1, patience));
        source.cancel();
        EXPECT_EQ(outcome(request), "cancelled");
        EXPECT_TRUE(permitsAreFree());
        log->takeLines();
        EXPECT_TRUE(!httpClient.closesWhenCancelled ||
                    provider.waitForClosed(provider.connections(), patience));
        EXPECT_TRUE(log->lines().empty()) << "goes on";
        provider.reset();
    }

    content->bytes.clear();
    const cancellation_token_source source;
    helper->setBrowserOpener([](const CString&) { return true; });  // without a user
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

/// The token that a running request receives belongs to its caller, and is stored unless somebody
/// signs out.
TEST_F(HybridHelper, SignsOutBehindARequestAtAnyStep) {
    for (const auto& [waitsAt, refreshes] : stages) {
        for (const bool isCancelled : std::set<bool>{false, refreshes}) {
            SCOPED_TRACE(provider.url(waitsAt) + (refreshes ? ", refresh" : ""));
            storeFor(refreshes);
            const auto before = content->bytes;
            const auto requests = provider.requests(waitsAt).size();
            auto hold = provider.hold(waitsAt);
            const auto request = ask(true);
            ASSERT_TRUE(provider.waitForRequests(waitsAt, requests + 1, patience));
            const cancellation_token_source source;
            const auto signedOut = helper->signOutAsync(source.get_token());
            EXPECT_FALSE(signedOut.is_done());
            if (isCancelled) {
                source.cancel();
                EXPECT_EQ(outcome(signedOut), "cancelled");
            }
            EXPECT_EQ(content->bytes, before);
            hold.release();
            const COIDCToken received = get(request);
            if (!isCancelled) {
                EXPECT_EQ(outcome(signedOut), "accepted");
            }
            EXPECT_EQ(content->bytes, isCancelled ? test::store(received) : decltype(before)());
            EXPECT_TRUE(permitsAreFree());
            EXPECT_EQ(outcome(ask()), isCancelled ? "accepted" : "user: unable to get token");
        }
    }
}

TEST_F(HybridHelper, SignsOutUnderBothPermits) {
    const auto record = expiredRecord();
    for (const auto& held : {COIDCHelper::getProcessExclusivePermit(), permit}) {
        store(record);
        auto lock = held->createLock();
        ASSERT_TRUE(lock->tryLock());
        const cancellation_token_source source;
        const auto cancelled = helper->signOutAsync(source.get_token());
        const auto signedOut = helper->signOutAsync();
        EXPECT_TRUE(eventually([&] { return !isFree(*COIDCHelper::getProcessExclusivePermit()); }));
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

    // The user may have abandoned a sign-in.
    const auto faulty = std::make_shared<FaultyPermit>();
    std::atomic<int> tries{0};
    faulty->onTry = [&tries] { return ++tries < 0; };
    helper = makeHelper(faulty);
    TestClock clock;
    clock.freezeAt(start);
    store(record);
    const auto signedOut = helper->signOutAsync();
    for (const auto passed : {0ms, 25'000ms - 1ms}) {
        clock.freezeAt(start + passed);
        const int before = tries;
        EXPECT_TRUE(eventually([&] { return tries > before + 2; }));
        EXPECT_FALSE(content->bytes.empty());
    }
    clock.freezeAt(start + 25s);
    EXPECT_EQ(outcome(signedOut), "accepted");
    EXPECT_TRUE(content->bytes.empty());
    EXPECT_TRUE(logged(givingUp));
    helper = makeHelper(nullptr);
    EXPECT_EQ(outcome([&] { helper->signOut(); }), "exclusive permit should be specified");
}

/// Sign-out between a request's read and its turn, after which the store cannot be read.
TEST_F(HybridHelper, StoresNothingOfWhomSomebodySignedOut) {
    for (const bool refreshes : {true, false}) {
        storeFor(refreshes);
        content->rereadFlags.clear();
        content->afterRead = [&] {
            if (content->rereadFlags.size() == 2) {
                helper->signOut();
                content->readFailure = thrown("disk");
            }
        };
        const COIDCToken received = get(ask(true));
        content->afterRead = nullptr;
        content->readFailure = nullptr;
        EXPECT_EQ(content->bytes, refreshes ? std::vector<std::uint8_t>() : test::store(received));
    }
    EXPECT_EQ(user.urls().size(), 1U);
}

}  // namespace
