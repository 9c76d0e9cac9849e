#include "tests/support/TestClock.h"

#include "auth/detail/Clock.h"
#include "tests/support/Common.h"

namespace {

using Ticks = auth::COIDCToken::TimePoint::duration;

std::atomic<Ticks::rep> timeSet{0};
std::atomic<Ticks::rep> timeFrozen{0};
// The difference between the clocks while nobody sets the system clock.
const Ticks apart =
    std::chrono::duration_cast<Ticks>(std::chrono::steady_clock::now().time_since_epoch() -
                                      std::chrono::system_clock::now().time_since_epoch());

Ticks::rep ticks(std::chrono::system_clock::duration time) {
    return std::chrono::duration_cast<Ticks>(time).count();
}

}  // namespace

namespace auth::detail {

COIDCToken::TimePoint now() {
    if (timeFrozen != 0) {
        return COIDCToken::TimePoint(Ticks(timeFrozen) + Ticks(timeSet));
    }
    return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now()) + Ticks(timeSet);
}

std::chrono::steady_clock::time_point steadyNow() {
    if (timeFrozen != 0) {
        return std::chrono::steady_clock::time_point(Ticks(timeFrozen) + apart);
    }
    return std::chrono::steady_clock::now();
}

}  // namespace auth::detail

namespace test {

TestClock::~TestClock() {
    timeSet = 0;
    timeFrozen = 0;
}

void TestClock::setSystemClock(std::chrono::system_clock::duration by) {
    timeSet += ticks(by);
}

void TestClock::freezeAt(std::chrono::system_clock::time_point time) {
    timeFrozen = ticks(time.time_since_epoch());
}

}  // namespace test
