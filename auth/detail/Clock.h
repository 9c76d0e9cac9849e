#pragma once

#include "auth/COIDCToken.h"

#include <chrono>

namespace auth::detail {

// The whole library gets the time from here, so that the tests can replace it.

/// The system clock, which decides when tokens expire. It can be set forwards or backwards.
COIDCToken::TimePoint now();

/// A clock that cannot be set, for measuring durations.
std::chrono::steady_clock::time_point steadyNow();

}  // namespace auth::detail
