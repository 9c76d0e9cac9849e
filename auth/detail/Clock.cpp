#include "auth/detail/Clock.h"

namespace auth::detail {

COIDCToken::TimePoint now() {
    using Ticks = COIDCToken::TimePoint::duration;
    return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now());
}

}  // namespace auth::detail
