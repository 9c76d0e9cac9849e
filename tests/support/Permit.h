#pragma once

#include "auth/COIDCHelper.h"

#include <gtest/gtest.h>

namespace test {

/// For a permit that nobody holds.
inline void expectOneHolderAtATime(auth::IExclusivePermit& permit) {
    auto first = permit.createLock();
    auto second = permit.createLock();
    EXPECT_TRUE(first->tryLock());
    EXPECT_TRUE(first->tryLock());
    EXPECT_FALSE(second->tryLock());
    second.reset();  // it never held the permit: the first one still does
    EXPECT_FALSE(permit.createLock()->tryLock());
    first.reset();
    EXPECT_TRUE(permit.createLock()->tryLock());
}

}  // namespace test
