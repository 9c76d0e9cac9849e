#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace platform {

/// Calls `expired` once, `delay` after its construction, unless it is destroyed before. The call
/// comes on a thread of the HTTP library's pool, or on Windows of the system's: it may only
/// complete or cancel something and must never block. Destroying the timer does not wait for a call
/// that has already begun, so `expired` must own or share everything that it uses.
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

/// Calls `tick` every `period`, for the first time one period after its construction, until it is
/// destroyed. As above, but a call may also destroy the timer; two calls never run at the same
/// time.
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
