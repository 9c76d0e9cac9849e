#include "auth/detail/Clock.h"

namespace auth::detail {

COIDCToken::TimePoint now() {
    using Ticks = COIDCToken::TimePoint::duration;
    return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now());
}

std::chrono::steady_clock::time_point steadyNow() {
    return std::chrono::steady_clock::now();
}

}  // namespace auth::detail
