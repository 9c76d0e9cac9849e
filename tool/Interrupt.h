#pragma once

#include "platform/Tasks.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace tool {

/// While it exists, run() handles Ctrl-C and the request to terminate: the first one cancels
/// `source`, the second one ends the process.
class Signals {
public:
    explicit Signals(const Concurrency::cancellation_token_source& source);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// Returns when `isOver` holds, which is checked after each call of the function from waker().
    /// Anybody may call that function at any time, even after this object is destroyed.
    void run(const std::function<bool()>& isOver) const;
    std::function<void()> waker() const;

    /// Whether the signal was a request to terminate, which need not come from the user.
    static bool wasTermination();

private:
    struct State;

    std::unique_ptr<State> m_state;
};

/// For short continuations that need no thread of their own.
Concurrency::task_options atOnce();

/// Waits for the task and handles the signals meanwhile. Uses only this thread, because most tasks
/// end soon.
template <class Task>
void waitFor(const Task& task, const Signals& signals) {
    task.then([wake = signals.waker()](const Task&) { wake(); }, atOnce());
    signals.run([&task] { return task.is_done(); });
}

/// Handles the signals while it exists, on its own thread.
class Interrupt {
public:
    explicit Interrupt(const Concurrency::cancellation_token_source& source);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

private:
    Signals m_signals;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

}  // namespace tool
