#include "auth/detail/FirstOutcome.h"
#include "platform/TaskScheduler.h"
#include "platform/Timer.h"
#include "tests/support/Test.h"

namespace {

using namespace std::chrono_literals;
using platform::GrowingScheduler;

template <class Body>
auto run(GrowingScheduler& by, Body body) {
    return Concurrency::create_task(body, Concurrency::task_options(by));
}

TEST(GrowingScheduler, GrowsWithBlockedBodiesAndShrinksWhenIdle) {
    constexpr int bodies = 100;
    GrowingScheduler scheduler(1ms);
    std::atomic<int> running{0};
    std::promise<void> allRun;
    std::vector<Concurrency::task<void>> tasks;
    const auto all = allRun.get_future().share();
    tasks.reserve(bodies);
    for (int i = 0; i < bodies; ++i) {
        tasks.push_back(run(scheduler, [&] {
            if (++running == bodies) {
                allRun.set_value();
            }
            all.wait_for(test::patience);  // returns at once when every body has a thread
        }));
    }
    for (const auto& task : tasks) {
        test::get(task);
    }
    EXPECT_TRUE(test::eventually([&] { return scheduler.threadCount() == 0; }));
}

TEST(GrowingScheduler, ReusesAnIdleThread) {
    GrowingScheduler scheduler(1h);
    for (int i = 0; i < 50; ++i) {
        test::get(run(scheduler, [] {}));
    }
    // Some find no idle thread: a task ends a moment before its thread is idle again.
    EXPECT_LT(scheduler.threadCount(), 50U);
}

TEST(GrowingScheduler, RunsWhatIsScheduledBeforeItEnds) {
    std::atomic<int> ran{0};
    {
        GrowingScheduler scheduler(1h);
        for (int i = 0; i < 200; ++i) {
            run(scheduler, [&ran] { ++ran; });
        }
    }
    EXPECT_EQ(ran, 200);
}

TEST(GrowingScheduler, RunsAtOnceWhatIsScheduledAfterItStopped) {
    GrowingScheduler scheduler(1h);
    scheduler.stop();
    EXPECT_EQ(test::get(run(scheduler, std::this_thread::get_id)), std::this_thread::get_id());
}

TEST(GrowingScheduler, LetsABodyEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(Concurrency::create_task([] { std::exit(3); }, platform::blocking()).get(),
                ::testing::ExitedWithCode(3), "");
}

TEST(GrowingScheduler, RunsNoBodyThatWasCancelledBefore) {
    const Concurrency::cancellation_token_source source;
    source.cancel();
    std::atomic<bool> ran{false};
    const auto task =
        Concurrency::create_task([&ran] { ran = true; }, platform::blocking(source.get_token()));
    EXPECT_THROW(test::get(task), Concurrency::task_canceled);
    EXPECT_FALSE(ran);
}

TEST(FirstOutcome, IsThereAtOnceAndContinuedElsewhere) {
    using auth::detail::FirstOutcome;
    const auto thread = [](int) { return std::this_thread::get_id(); };
    FirstOutcome<int> outcome;
    const auto twice = outcome.taskOf([](int value) { return 2 * value; });
    const auto before = outcome.task().then(thread);
    const auto beforeTwice = twice.then(thread);
    EXPECT_TRUE(outcome.set(1));
    EXPECT_TRUE(twice.is_done());
    EXPECT_EQ(twice.get(), 2);
    for (const auto& continued : {before, beforeTwice, twice.then(thread)}) {
        EXPECT_NE(test::get(continued), std::this_thread::get_id());
    }
    EXPECT_FALSE(outcome.fail(std::make_exception_ptr(1)));
    EXPECT_EQ(outcome.task().get(), 1);
}

TEST(OneShotTimer, FiresOnceOrNotAtAll) {
    std::promise<void> fired;
    const platform::OneShotTimer timer(1ms, [&fired] { fired.set_value(); });
    EXPECT_EQ(fired.get_future().wait_for(test::patience), std::future_status::ready);

    std::atomic<int> calls{0};
    std::promise<void> letGo;
    std::shared_ptr<void> held(nullptr, [&letGo](void*) { letGo.set_value(); });
    for (int i = 0; i < 100; ++i) {
        const platform::OneShotTimer cancelled(1h, [&calls, held] { ++calls; });
    }
    held.reset();
    EXPECT_EQ(letGo.get_future().wait_for(test::patience), std::future_status::ready);
    EXPECT_EQ(calls, 0);
}

}  // namespace
