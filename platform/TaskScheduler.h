#pragma once

#include "platform/Lookout.h"
#include "platform/Tasks.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <list>
#include <mutex>
#include <thread>

namespace platform {

/// Runs task bodies that may block. The HTTP library's pool has a fixed number of threads and needs
/// them for its I/O, so blocking there can stop everything. Here a body gets a new thread if all
/// are busy, and a thread that is idle for a while ends.
///
/// All operations are safe from any thread.
class GrowingScheduler final : public Concurrency::scheduler_interface {
public:
    explicit GrowingScheduler(std::chrono::milliseconds idleLimit);
    /// Calls stop().
    ~GrowingScheduler();
    GrowingScheduler(const GrowingScheduler&) = delete;
    GrowingScheduler& operator=(const GrowingScheduler&) = delete;

    /// Throws if there is no thread and the system cannot create one; the body then never runs.
    void schedule(Concurrency::TaskProc_t body, void* parameter) override;

    /// Runs everything that is scheduled and waits for it, except for the body that calls stop().
    /// Bodies scheduled afterwards run on the thread that schedules them.
    void stop();

    std::size_t threadCount() const;

private:
    struct Work {
        Concurrency::TaskProc_t body;
        void* parameter;
    };
    using Threads = std::list<std::thread>;

    void enqueue(const Work& work);
    void startThread();
    void run(Threads::iterator self);
    void awaitWork(std::unique_lock<std::mutex>& lock);
    static void join(Threads threads);

    const std::chrono::milliseconds m_idleLimit;
    const bool m_canWatch = hasSeveralProcessors();
    Lookout m_lookout;
    std::atomic<std::size_t> m_calls{0};    // calls of schedule() that have not returned
    std::atomic<std::size_t> m_pending{0};  // the size of m_work, for reading without the lock
    mutable std::mutex m_mutex;             // guards the rest
    std::condition_variable m_workOrStop;
    std::condition_variable m_threadEnded;
    std::deque<Work> m_work;
    Threads m_threads;
    Threads m_ended;  // threads that have left their loop; the next one that does so joins them
    std::size_t m_idle = 0;
    bool m_isWatched = false;  // an idle thread is spinning for work
    bool m_stopping = false;
    bool m_stopped = false;
};

// Task options that decide where a body runs. Options without a token leave cancellation to the
// task library: a continuation that takes the previous task's value is cancelled by that task's
// token, and one that takes the task itself is never cancelled.

/// For bodies that may block. They run on this process's scheduler; with a token, they are
/// cancelled if it is cancelled before they start. Throws std::runtime_error in a process that was
/// forked from one in which that scheduler was running.
Concurrency::task_options blocking();
Concurrency::task_options blocking(const Concurrency::cancellation_token& token);

/// For short continuations that do not block: they run where the previous task ended, and at once
/// if it has ended. If a continuation waits for a task that then fails, it runs on the HTTP
/// library's pool anyway.
Concurrency::task_options inlined();

/// For the task that hands over an outcome: while a Handover exists on its thread it runs inline,
/// so it needs no other thread. Its continuations inherit these options but belong to the caller,
/// and run as in blocking().
Concurrency::task_options handedOver();
class Handover {
public:
    Handover();
    ~Handover();
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;
};

/// Cancelled when this process begins to end. The end waits for the bodies in blocking(), so
/// nothing there may keep waiting for others then.
Concurrency::cancellation_token processEnd();

/// At the end of this process, the bodies in blocking() finish before any static is destroyed that
/// was created before this call.
void stopAtProcessEnd();

}  // namespace platform
