#include "platform/TaskScheduler.h"
#include "platform/Timer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using platform::GrowingScheduler;

TEST(GrowingScheduler, GrowsWithBlockedBodiesAndShrinksWhenIdle) {
    constexpr int bodies = 100;
    GrowingScheduler scheduler(1ms);
    std::atomic<int> running{0};
    std::promise<void> allRun;
    std::vector<Concurrency::task<void>> tasks;
    const auto all = allRun.get_future().share();
    tasks.reserve(bodies);
    for (int i = 0; i < bodies; ++i) {
        tasks.push_back(Concurrency::create_task(
            [&] {
                if (++running == bodies) {
                    allRun.set_value();
                }
                all.wait();  // ends only when every body has a thread
            },
            Concurrency::task_options(scheduler)));
    }
    for (const auto& task : tasks) {
        task.get();
    }
    while (scheduler.threadCount() != 0) {
        std::this_thread::yield();
    }
}

TEST(GrowingScheduler, ReusesAnIdleThread) {
    GrowingScheduler scheduler(1h);
    for (int i = 0; i < 50; ++i) {
        Concurrency::create_task([] {}, Concurrency::task_options(scheduler)).get();
    }
    // Some find no idle thread: a task ends a moment before its thread is idle again.
    EXPECT_LT(scheduler.threadCount(), 50U);
}

TEST(GrowingScheduler, RunsWhatIsScheduledBeforeItEnds) {
    std::atomic<int> ran{0};
    {
        GrowingScheduler scheduler(1h);
        for (int i = 0; i < 200; ++i) {
            Concurrency::create_task([&ran] { ++ran; }, Concurrency::task_options(scheduler));
        }
    }
    EXPECT_EQ(ran, 200);
}

TEST(OneShotTimer, FiresOnceOrNotAtAll) {
    std::promise<void> fired;
    const platform::OneShotTimer timer(1ms, [&fired] { fired.set_value(); });
    fired.get_future().wait();

    const auto calls = std::make_shared<std::atomic<int>>(0);
    for (int i = 0; i < 100; ++i) {
        const platform::OneShotTimer cancelled(1h, [calls] { ++*calls; });
    }
    std::promise<void> later;
    const platform::OneShotTimer last(5ms, [&later] { later.set_value(); });
    later.get_future().wait();
    EXPECT_EQ(*calls, 0);
    EXPECT_EQ(calls.use_count(), 1) << "a cancelled timer lets go of what it held";
}

}  // namespace
