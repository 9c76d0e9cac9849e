#pragma once

#include <chrono>

namespace test {

/// While it lives, the library's clock is ahead of the system's by this much, or stands still.
class TestClock {
public:
    TestClock() = default;
    ~TestClock();
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    void advance(std::chrono::system_clock::duration by);
    void freezeAt(std::chrono::system_clock::time_point time);
};

}  // namespace test
