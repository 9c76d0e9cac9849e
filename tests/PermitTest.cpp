#include "tests/support/Permit.h"
#include "tests/support/Threads.h"

namespace {

TEST(ExclusivePermit, IsHeldByOneLockAtATime) {
    test::expectOneHolderAtATime(*auth::COIDCHelper::makeExclusivePermit());
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
    int guarded = 0;  // the sanitizer would find a data race here
    test::onThreads(4, [&](int) {
        for (int taken = 0; taken < 500;) {
            if (const auto lock = permit->createLock(); lock->tryLock()) {
                ++guarded;
                ++taken;
            }
        }
    });
    EXPECT_EQ(guarded, 2000);
}

}  // namespace
