#include "auth/COIDCHelper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(ExclusivePermit, IsHeldByOneLockAtATime) {
    const auto permit = auth::COIDCHelper::makeExclusivePermit();
    auto first = permit->createLock();
    auto second = permit->createLock();
    EXPECT_TRUE(first->tryLock());
    EXPECT_TRUE(first->tryLock());
    EXPECT_FALSE(second->tryLock());
    second.reset();  // never held it: the first one still does
    EXPECT_FALSE(permit->createLock()->tryLock());
    first.reset();
    EXPECT_TRUE(permit->createLock()->tryLock());
}

TEST(ExclusivePermit, LivesAsLongAsItsLocks) {
    auto permit = auth::COIDCHelper::makeExclusivePermit();
    const auto lock = permit->createLock();
    permit.reset();
    EXPECT_TRUE(lock->tryLock());
}

TEST(ExclusivePermit, IsOneForTheProcess) {
    const auto process = auth::COIDCHelper::getProcessExclusivePermit();
    EXPECT_EQ(process, auth::COIDCHelper::getProcessExclusivePermit());
    EXPECT_NE(process, auth::COIDCHelper::makeExclusivePermit());
}

TEST(ExclusivePermit, ExcludesThreads) {
    const auto permit = auth::COIDCHelper::makeExclusivePermit();
    int guarded = 0;  // a data race here is what the sanitizer would find
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int taken = 0; taken < 500;) {
                const auto lock = permit->createLock();
                if (lock->tryLock()) {
                    ++guarded;
                    ++taken;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(guarded, 2000);
}

}  // namespace
