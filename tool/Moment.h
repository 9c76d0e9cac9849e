#pragma once

#include "auth/COIDCToken.h"

#include <chrono>

namespace tool {

/// A time by two clocks: the system clock, by which tokens expire and which keeps running while the
/// machine sleeps, and a steady clock, which cannot be set. The time has come when either clock
/// says so.
class Moment {
public:
    using Duration = auth::COIDCToken::TimePoint::duration;

    /// `distance` from now.
    explicit Moment(Duration distance);

    bool hasCome() const;

    auth::COIDCToken::TimePoint system() const { return m_system; }
    std::chrono::steady_clock::time_point steady() const { return m_steady; }

private:
    auth::COIDCToken::TimePoint m_system;
    std::chrono::steady_clock::time_point m_steady;
};

}  // namespace tool
