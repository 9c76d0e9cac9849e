// A process that gets no more threads, and a forked process.

#include "tests/support/ChildProcess.h"
#include "tests/support/NoThreads.h"
#include "tests/support/Process.h"

#include <unistd.h>

namespace {

using namespace test;

/// Whether all other threads of this process are idle: a fork would copy the locks that they hold.
bool othersRest() {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "stat");
        std::string status;
        std::getline(file, status);
        const auto name = status.rfind(')');  // followed by the state
        const bool rests = name != std::string::npos && status.compare(name, 3, ") S") == 0;
        if (!rests && thread.path().filename() != std::to_string(::gettid())) {
            return false;
        }
    }
    return true;
}

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
