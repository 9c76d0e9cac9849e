#pragma once

#include "platform/Processors.h"

#include <chrono>

namespace platform {

/// Looks for a moment whether `isThere`, before this thread sleeps: about as long as it takes to
/// put a thread to sleep and to wake it. It does not give way to others meanwhile: on a busy
/// machine that could cost it its turn.
template <class Condition>
void lookOut(const Condition& isThere) {
    constexpr std::chrono::microseconds moment{30};
    static const bool canCome = hasSeveralProcessors();
    if (!canCome) {
        return;
    }
    const auto end = std::chrono::steady_clock::now() + moment;
    while (!isThere() && std::chrono::steady_clock::now() < end) {
        relax();
    }
}

}  // namespace platform
