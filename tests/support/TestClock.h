#pragma once

#include "tests/support/Common.h"

namespace test {

/// While it lives, the library's clocks go or stand as a test wants it.
class TestClock {
public:
    TestClock() = default;
    ~TestClock();
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    /// Somebody sets the system clock, forth or back.
    void setSystemClock(std::chrono::system_clock::duration by);
    /// Both stand still from now on, the system clock at this time.
    void freezeAt(std::chrono::system_clock::time_point time);
};

}  // namespace test
