#pragma once

#include "auth/COIDCToken.h"

#include <chrono>

namespace auth::detail {

// All of the library asks here, so that one other definition moves its time.

/// The system clock, by which tokens expire. Somebody may set it, back or forth.
COIDCToken::TimePoint now();

/// A clock that nobody sets, for how long something takes.
std::chrono::steady_clock::time_point steadyNow();

}  // namespace auth::detail
