#pragma once

#include "tests/support/Common.h"

namespace test {

/// While it exists, tests control the library's clocks.
class TestClock {
public:
    TestClock() = default;
    ~TestClock();
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    /// Sets the system clock forwards or backwards.
    void setSystemClock(std::chrono::system_clock::duration by);
    /// Stops both clocks, the system clock at this time.
    void freezeAt(std::chrono::system_clock::time_point time);
};

}  // namespace test
