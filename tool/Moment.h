#pragma once

#include "auth/COIDCToken.h"

#include <chrono>

namespace tool {

/// A moment by two clocks: that of the system, by which tokens expire and which goes on while the
/// machine sleeps, and one that nobody sets. It has come when it has by either.
class Moment {
public:
    using Duration = auth::COIDCToken::TimePoint::duration;

    /// So long from now on.
    explicit Moment(Duration distance);

    bool hasCome() const;

    auth::COIDCToken::TimePoint system() const { return m_system; }
    std::chrono::steady_clock::time_point steady() const { return m_steady; }

private:
    auth::COIDCToken::TimePoint m_system;
    std::chrono::steady_clock::time_point m_steady;
};

}  // namespace tool
