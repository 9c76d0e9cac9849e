#pragma once

#include "platform/Lookout.h"
#include "platform/TaskScheduler.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace auth::detail {

/// Removes a callback. If it was registered at the very moment of the cancellation, the task
/// library would release it twice; a cancelled token releases all its callbacks by itself.
inline void deregister(const Concurrency::cancellation_token& token,
                       const Concurrency::cancellation_token_registration& registration) {
    if (!token.is_canceled()) {
        token.deregister_callback(registration);
    }
}

/// Calls back when the token is cancelled or the process begins to end; at once if that has already
/// happened, and possibly twice if both happen. A call can still run on another thread while this
/// object is destroyed, so the callback must own or share everything that it uses.
class Interruption {
public:
    Interruption(const Concurrency::cancellation_token& token, const std::function<void()>& call)
        : m_callbacks{{{token, call}, {platform::processEnd(), call}}} {}

private:
    class Callback {
    public:
        Callback(const Concurrency::cancellation_token& token, const std::function<void()>& call)
            : m_token(token) {
            if (m_token.is_cancelable()) {
                m_registration = m_token.register_callback(call);
            }
        }
        ~Callback() {
            if (m_token.is_cancelable()) {
                deregister(m_token, m_registration);
            }
        }
        Callback(const Callback&) = delete;
        Callback& operator=(const Callback&) = delete;

    private:
        Concurrency::cancellation_token m_token;
        Concurrency::cancellation_token_registration m_registration;
    };

    const std::array<Callback, 2> m_callbacks;
};

/// Whether the token is cancelled or the process is ending.
inline bool isInterrupted(const Concurrency::cancellation_token& token) {
    return token.is_canceled() || platform::processEnd().is_canceled();
}

/// Throws task_canceled if the token is cancelled, or the process ends, during the sleep.
inline void sleepFor(std::chrono::milliseconds delay,
                     const Concurrency::cancellation_token& token) {
    struct State {
        std::mutex mutex;
        std::condition_variable woken;
    };
    const auto state = std::make_shared<State>();
    const Interruption wake(token, [state] {
        const std::lock_guard<std::mutex> lock(state->mutex);
        state->woken.notify_all();
    });
    std::unique_lock<std::mutex> lock(state->mutex);
    if (state->woken.wait_for(lock, delay, [&] { return isInterrupted(token); })) {
        throw Concurrency::task_canceled();
    }
}

/// Reads the outcome of a finished task and ignores it: an unread exception would end the process.
template <class T>
void readForNobody(const Concurrency::task<T>& ended) {
    try {
        ended.get();
    } catch (...) {  // NOLINT(bugprone-empty-catch)
    }
}

/// A task whose outcome need not be read.
template <class T>
Concurrency::task<T> observed(Concurrency::task<T> task) {
    if (task.is_done()) {
        readForNobody(task);
    } else {
        task.then([](const Concurrency::task<T>& ended) { readForNobody(ended); },
                  platform::inlined());
    }
    return task;
}

/// Returns the task that `start` returns. If `start` throws, the task fails: functions that return
/// a task do not throw.
template <class Start>
auto started(const Start& start) -> decltype(start()) {
    try {
        return start();
    } catch (...) {
        using Result = typename decltype(start())::result_type;
        return observed(Concurrency::task_from_exception<Result>(std::current_exception(),
                                                                 platform::handedOver()));
    }
}

/// Waits for a task's outcome. Many arrive within a moment, before this thread would go to sleep.
template <class T>
T awaited(const Concurrency::task<T>& task) {
    static const bool runsMeanwhile = platform::hasSeveralProcessors();
    static platform::Lookout lookout;
    if (runsMeanwhile) {
        lookout.look([&task] { return task.is_done(); });
    } else {
        std::this_thread::yield();  // to the thread that was just notified of the task
    }
    return task.get();
}

}  // namespace auth::detail
