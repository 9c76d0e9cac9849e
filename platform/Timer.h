#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Calls `expired` once, `delay` from its construction, unless it is destroyed before. The call
/// comes on a thread of the HTTP library's pool, or on Windows the system's: it only completes or
/// cancels something and never blocks. Destroying the timer does not wait for a call that has
/// already begun, so that `expired` owns or shares what it touches.
class OneShotTimer {
public:
    OneShotTimer(std::chrono::milliseconds delay, std::function<void()> expired);
    ~OneShotTimer();
    OneShotTimer(const OneShotTimer&) = delete;
    OneShotTimer& operator=(const OneShotTimer&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// Calls `tick` every `period`, first one period from its construction, until it is destroyed. As
/// above, but a call may also destroy the timer; no two calls run at a time.
class RepeatingTimer {
public:
    RepeatingTimer(std::chrono::milliseconds period, std::function<void()> tick);
    ~RepeatingTimer();
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;

private:
    struct Impl;
    std::shared_ptr<Impl> m_impl;
};

}  // namespace platform
