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

/// The start of a wait. The wait is over when either clock says so: the system clock, which can be
/// set back, or the steady clock.
struct Moment {
    COIDCToken::TimePoint system = detail::now();
    std::chrono::steady_clock::time_point steady = detail::steadyNow();

    bool isOver(std::chrono::seconds limit) const {
        return detail::now() >= system + limit || detail::steadyNow() >= steady + limit;
    }
};

/// The time between two attempts to take the permits.
constexpr std::chrono::milliseconds retryDelay{50};

}  // namespace detail

/// The two permits that a request takes, one after the other.
struct COIDCHelper::Permits {
    std::unique_ptr<IPermitLock> helperLock;
    std::unique_ptr<IPermitLock> processLock;  // taken first
    int held = 0;
    detail::Moment startTime = {};

    /// Called before the outcome is set: the caller may ask again as soon as it has the outcome,
    /// and others who wait for a permit must not depend on a free thread.
    void release() {
        processLock.reset();
        helperLock.reset();
    }
};

/// A running hybrid request. Its steps run one after the other, on different threads.
struct COIDCHelper::TokenTaskData : detail::UserArguments {
    Permits permits;
    CString lastRefreshToken = {};  // the one that failed
    std::exception_ptr failedRefresh = {};
    bool reread = false;
    std::uint64_t signOuts = 0;  // the count before this attempt; see saveToken()
    detail::Moment lastRefreshTime = {};
    std::shared_ptr<detail::FirstOutcome<COIDCToken>> resultEvent =
        std::make_shared<detail::FirstOutcome<COIDCToken>>();
};

}  // namespace auth
