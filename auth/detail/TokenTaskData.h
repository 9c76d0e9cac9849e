#pragma once

#include "auth/COIDCHelper.h"
#include "auth/detail/Arguments.h"
#include "auth/detail/Clock.h"
#include "auth/detail/FirstOutcome.h"

#include <chrono>
#include <cstdint>
#include <memory>

namespace auth {

namespace detail {

/// The beginning of a wait. By the system's clock, which somebody may set back, or by the steady
/// one it is over, whichever is first.
struct Moment {
    COIDCToken::TimePoint system = detail::now();
    std::chrono::steady_clock::time_point steady = detail::steadyNow();

    bool isOver(std::chrono::seconds limit) const {
        return detail::now() >= system + limit || detail::steadyNow() >= steady + limit;
    }
};

/// Between two looks at the permits.
constexpr std::chrono::milliseconds retryDelay{50};

}  // namespace detail

/// The two permits that one request takes, one after the other.
struct COIDCHelper::Permits {
    std::unique_ptr<IPermitLock> helperLock;
    std::unique_ptr<IPermitLock> processLock;  // goes first
    int held = 0;
    detail::Moment startTime = {};

    /// Before the outcome is there: who has it may ask again at once, and who waits for a permit
    /// must not depend on a thread to be had.
    void release() {
        processLock.reset();
        helperLock.reset();
    }
};

/// A hybrid request under way. Its steps come one after the other, on different threads.
struct COIDCHelper::TokenTaskData : detail::UserArguments {
    Permits permits;
    CString lastRefreshToken = {};  // which failed
    std::exception_ptr failedRefresh = {};
    bool reread = false;
    std::uint64_t signOuts = 0;  // counted before this attempt; see saveToken()
    detail::Moment lastRefreshTime = {};
    std::shared_ptr<detail::FirstOutcome<COIDCToken>> resultEvent =
        std::make_shared<detail::FirstOutcome<COIDCToken>>();
};

}  // namespace auth
