#pragma once

#include "platform/Tasks.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <mutex>
#include <thread>

namespace platform {

/// Runs task bodies that may block. The HTTP library's pool has a fixed number of threads and needs
/// them for its I/O, so that blocking there can stop everything; here a body that finds all threads
/// busy gets a new one, and a thread that finds nothing to do for a while ends.
///
/// All operations are safe from any thread.
class GrowingScheduler final : public Concurrency::scheduler_interface {
public:
    explicit GrowingScheduler(std::chrono::milliseconds idleLimit);
    /// Stops.
    ~GrowingScheduler();
    GrowingScheduler(const GrowingScheduler&) = delete;
    GrowingScheduler& operator=(const GrowingScheduler&) = delete;

    /// Throws std::system_error when the system gives no thread and none is there.
    void schedule(Concurrency::TaskProc_t body, void* parameter) override;

    /// Runs what is scheduled and waits for it, but for the body in which it is called. What is
    /// scheduled afterwards runs on the thread that does so.
    void stop();

    std::size_t threadCount() const;

private:
    struct Work {
        Concurrency::TaskProc_t body;
        void* parameter;
    };
    using Threads = std::list<std::thread>;

    void startThread();
    void run(Threads::iterator self);
    static void join(Threads threads);

    const std::chrono::milliseconds m_idleLimit;
    mutable std::mutex m_mutex;
    std::condition_variable m_workOrStop;
    std::condition_variable m_threadEnded;
    std::deque<Work> m_work;
    Threads m_threads;
    Threads m_ended;  // left their loop, wait to be joined by the next one that does
    std::size_t m_idle = 0;
    bool m_stopping = false;
    bool m_stopped = false;
};

/// The scheduler of this process for bodies that may block, alone or with a token that cancels them
/// before they start.
Concurrency::task_options blocking();
Concurrency::task_options blocking(const Concurrency::cancellation_token& token);

/// For continuations that only pass something on: they run where the task before them ended.
Concurrency::task_options inlined();

}  // namespace platform
