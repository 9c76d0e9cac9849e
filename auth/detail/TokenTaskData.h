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

}  // namespace detail

/// Between two looks at the permits.
constexpr std::chrono::milliseconds retryDelay{50};

/// A hybrid request under way. Its steps come one after the other, on different threads.
struct COIDCHelper::TokenTaskData : detail::UserArguments {
    std::unique_ptr<IPermitLock> processLock;
    std::unique_ptr<IPermitLock> helperLock;
    int permitsHeld = 0;
    CString lastRefreshToken = {};  // which failed
    std::exception_ptr failedRefresh = {};
    bool reread = false;
    std::uint64_t signOuts = 0;  // before what leads to the token that will be stored
    detail::Moment startTime = {};
    detail::Moment lastRefreshTime = {};
    std::shared_ptr<detail::FirstOutcome<COIDCToken>> resultEvent =
        std::make_shared<detail::FirstOutcome<COIDCToken>>();

    /// Before the outcome is there: who has it may ask again at once, and who waits for a permit
    /// must not depend on a thread to be had.
    void releasePermits() {
        processLock.reset();
        helperLock.reset();
    }
};

}  // namespace auth
