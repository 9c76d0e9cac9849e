// How the library affects its process, and how the end of the process affects the library.

#include "tests/support/Process.h"
#include "tests/support/Usage.h"

namespace {

using namespace test;

TEST_F(Process, HasNoHttpThreadsForAStoredToken) {
    const auto threads = [] {
        const Requests requests(nowhere);
        requests.store(1h);
        get(requests.ofAService());
        get(requests.ofAUser());
        requests.helper->signOut();
        return static_cast<int>(usage().threads);
    };
    // One more for the scheduler; a sanitizer may have one, too.
    EXPECT_EXIT(std::exit(threads() <= 3 ? 0 : threads()), ::testing::ExitedWithCode(0), "");
}

TEST_F(Process, EndsWithoutWaitingForOthers) {
    const auto end = [] {
        static struct Awaited {
            std::thread thread;
            ~Awaited() { thread.join(); }
        } awaited;
        TestProvider provider;
        const Requests signingIn(provider.configUrl());
        std::promise<void> asked;
        signingIn.helper->setBrowserOpener([&](const CString&) {
            asked.set_value();
            return true;  // without a user
        });
        signingIn.ofAUser(true);
        asked.get_future().wait();
        // From a thread that is awaited after everything that the library does at the end.
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

}  // namespace
