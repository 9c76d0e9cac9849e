#include "tests/support/TestClock.h"

#include "auth/detail/Clock.h"

#include <atomic>

namespace {

using Ticks = auth::COIDCToken::TimePoint::duration;

std::atomic<Ticks::rep> passed{0};
std::atomic<Ticks::rep> set{0};
std::atomic<Ticks::rep> frozen{0};
// How far the steady clock is from the other while nobody sets that.
const Ticks apart =
    std::chrono::duration_cast<Ticks>(std::chrono::steady_clock::now().time_since_epoch() -
                                      std::chrono::system_clock::now().time_since_epoch());

Ticks::rep ticks(std::chrono::system_clock::duration time) {
    return std::chrono::duration_cast<Ticks>(time).count();
}

}  // namespace

namespace auth::detail {

COIDCToken::TimePoint now() {
    if (frozen != 0) {
        return COIDCToken::TimePoint(Ticks(frozen) + Ticks(set));
    }
    return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now()) + Ticks(passed) +
           Ticks(set);
}

std::chrono::steady_clock::time_point steadyNow() {
    if (frozen != 0) {
        return std::chrono::steady_clock::time_point(Ticks(frozen) + apart);
    }
    return std::chrono::steady_clock::now() + Ticks(passed);
}

}  // namespace auth::detail

namespace test {

TestClock::~TestClock() {
    passed = 0;
    set = 0;
    frozen = 0;
}

void TestClock::advance(std::chrono::system_clock::duration by) {
    passed += ticks(by);
}

void TestClock::setSystemClock(std::chrono::system_clock::duration by) {
    set += ticks(by);
}

void TestClock::freezeAt(std::chrono::system_clock::time_point time) {
    frozen = ticks(time.time_since_epoch());
}

}  // namespace test
