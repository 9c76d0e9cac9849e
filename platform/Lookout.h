#pragma once

#include "platform/Processors.h"

#include <atomic>
#include <chrono>

namespace platform {

/// Spins briefly for a condition before a thread sleeps: about as long as it takes to put a thread
/// to sleep and wake it. After a failed attempt it stops spinning for a while: on a busy machine
/// others need the processor. Any number of threads may share one.
class Lookout {
public:
    template <class Condition>
    void look(const Condition& isThere) {
        if (m_leftOut > 0) {
            --m_leftOut;
            return;
        }
        const auto end = std::chrono::steady_clock::now() + moment;
        while (!isThere()) {
            if (std::chrono::steady_clock::now() >= end) {
                m_leftOut = timesLeftOut;
                return;
            }
            relax();
        }
    }

private:
    static constexpr std::chrono::microseconds moment{30};
    static constexpr int timesLeftOut = 31;

    std::atomic<int> m_leftOut{0};
};

}  // namespace platform
