#pragma once

#include "platform/Tasks.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace tool {

/// While it lives, Ctrl-C and the request to terminate are heard where run() is: the first one
/// cancels `source`, the second one ends the process.
class Signals {
public:
    explicit Signals(const Concurrency::cancellation_token_source& source);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// Returns when `isOver` holds. It is asked after each call of what waker() gives, which
    /// anybody may call, for ever.
    void run(const std::function<bool()>& isOver) const;
    std::function<void()> waker() const;

    /// Whether what was heard was the request to terminate, which need not come from the user.
    static bool wasTermination();

private:
    struct State;

    std::unique_ptr<State> m_state;
};

/// For what needs no thread, and only passes something on.
Concurrency::task_options atOnce();

/// Waits for the task, and hears the signals meanwhile: by this thread alone, since most of what is
/// waited for is soon there.
template <class Task>
void waitFor(const Task& task, const Signals& signals) {
    task.then([wake = signals.waker()](const Task&) { wake(); }, atOnce());
    signals.run([&task] { return task.is_done(); });
}

/// Hears the signals while it lives, by a thread of its own.
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
