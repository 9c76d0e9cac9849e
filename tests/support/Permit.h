#pragma once

#include "auth/COIDCHelper.h"

#include <gtest/gtest.h>

namespace test {

/// Of a permit that nobody holds.
inline void expectOneHolderAtATime(auth::IExclusivePermit& permit) {
    auto first = permit.createLock();
    auto second = permit.createLock();
    EXPECT_TRUE(first->tryLock());
    EXPECT_TRUE(first->tryLock());
    EXPECT_FALSE(second->tryLock());
    second.reset();  // never held it: the first one still does
    EXPECT_FALSE(permit.createLock()->tryLock());
    first.reset();
    EXPECT_TRUE(permit.createLock()->tryLock());
}

}  // namespace test
