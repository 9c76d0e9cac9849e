#include "tests/support/TestClock.h"

#include "auth/detail/Clock.h"

#include <atomic>

namespace {

using Ticks = auth::COIDCToken::TimePoint::duration;

std::atomic<Ticks::rep> ahead{0};
std::atomic<Ticks::rep> frozen{0};

}  // namespace

auth::COIDCToken::TimePoint auth::detail::now() {
    if (frozen != 0) {
        return COIDCToken::TimePoint(Ticks(frozen));
    }
    return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now()) + Ticks(ahead);
}

namespace test {

TestClock::~TestClock() {
    ahead = 0;
    frozen = 0;
}

void TestClock::advance(std::chrono::system_clock::duration by) {
    ahead += std::chrono::duration_cast<Ticks>(by).count();
}

void TestClock::freezeAt(std::chrono::system_clock::time_point time) {
    frozen = std::chrono::duration_cast<Ticks>(time.time_since_epoch()).count();
}

}  // namespace test
