// What the library does to its process, and the end of that to the library. Each test has a process
// of its own, which ends with 0 when all is well.

#include "tests/support/Application.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/NoThreads.h"
#include "tests/support/Usage.h"

#include <unistd.h>

namespace {

using namespace test;

/// Of whatever process it is made in.
struct Requests : Application {
    explicit Requests(const std::string& provider) : configUrl(provider) {}

    void store(std::chrono::hours lifetime) const {
        content->bytes = recordWith({"openid"}, lifetime).bytes();
    }
    task<COIDCToken> ofAUser(bool authRequested = false) const {
        return helper->getOIDCTokenHybridAsync(configUrl, "client", "openid", {freeRedirectUrl()},
                                               0, cancellation_token::none(), authRequested);
    }
    task<CString> ofAService() const {
        return helper->getAccessTokenClientCredentialsAsync(configUrl, "client", "secret", "openid",
                                                            0, cancellation_token::none());
    }

    const CString configUrl;
};

/// Whether no other thread of this process is at work: a fork would copy the locks that it holds.
bool othersRest() {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "stat");
        std::string status;
        std::getline(file, status);
        const auto name = status.rfind(')');  // the state follows
        const bool rests = name != std::string::npos && status.compare(name, 3, ") S") == 0;
        if (!rests && thread.path().filename() != std::to_string(::gettid())) {
            return false;
        }
    }
    return true;
}

class Process : public ::testing::Test {
protected:
    // Its tests begin in a process in which nothing has run.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static constexpr auto* nowhere = "http://127.0.0.1:1/";
};

TEST_F(Process, GivesPermitsBackAlthoughThereIsNoThread) {
    const auto isWell = [] {
        const Requests requests(nowhere);
        const NoThreads none;
        const auto fails = [](const std::string& end) {
            return end != "accepted" && end != "this has not ended";
        };
        const bool toldWhy = outcome(requests.ofAUser()) == "user: unable to get token" &&
                             fails(outcome(requests.ofAUser(true))) &&
                             fails(outcome(requests.ofAService()));
        return toldWhy && requests.permitsAreFree();
    };
    EXPECT_EXIT(std::exit(isWell() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, HasNoHttpThreadsForAStoredToken) {
    const auto threads = [] {
        const Requests requests(nowhere);
        requests.store(1h);
        get(requests.ofAService());
        get(requests.ofAUser());
        requests.helper->signOut();
        return static_cast<int>(usage().threads);
    };
    // And that of the scheduler; a sanitizer may have one.
    EXPECT_EXIT(std::exit(threads() <= 3 ? 0 : threads()), ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, EndsWithoutWaitingForOthers) {
    const auto end = [] {
        ::alarm(20);
        static struct Awaited {
            std::thread thread;
            ~Awaited() { thread.join(); }
        } awaited;
        TestProvider provider;
        const Requests signingIn(provider.configUrl());
        std::promise<void> asked;
        signingIn.helper->setBrowserOpener([&](const CString&) {
            asked.set_value();
            return true;  // and nobody there
        });
        signingIn.ofAUser(true);
        asked.get_future().wait();
        // Of a thread that is awaited behind all that the library does at the end.
        const Requests waiting(provider.configUrl());
        const auto request = waiting.ofAUser(true);
        awaited.thread = std::thread([request] { outcome(request); });
        TestProvider silent;
        silent.neverAnswer(Endpoint::Discovery);
        const Requests service(silent.configUrl());
        service.ofAService();
        silent.waitForRequests(Endpoint::Discovery, 1, patience);
        std::exit(0);
    };
    EXPECT_EXIT(end(), ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, TellsAfterAForkThatItsThreadsAreGone) {
    const TestProvider provider;
    const Requests requests(provider.configUrl());
    EXPECT_EQ(outcome(requests.ofAService()), "accepted");
    EXPECT_TRUE(eventually(othersRest));
    const std::string ofTasks = "tokens were asked for before this process was forked";
    const std::string ofTimers = "the HTTP library was used before this process was forked";
    EXPECT_EQ(test::endOf([&] {
                  requests.store(-1h);
                  const auto lock = requests.permit->createLock();
                  const bool toldWhy = lock->tryLock() &&
                                       outcome(requests.ofAService()) == ofTasks &&
                                       outcome(requests.ofAUser()) == ofTimers;
                  requests.store(1h);
                  return toldWhy && outcome(requests.ofAUser()) == "accepted" ? 0 : 1;
              }),
              0);
}

}  // namespace
