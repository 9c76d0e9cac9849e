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

    /// Throws when the system gives no thread and none is there; the body then never runs.
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

    void enqueue(const Work& work);
    void startThread();
    void run(Threads::iterator self);
    void awaitWork(std::unique_lock<std::mutex>& lock);
    static void join(Threads threads);

    const std::chrono::milliseconds m_idleLimit;
    const bool m_canWatch = hasSeveralProcessors();
    Lookout m_lookout;
    std::atomic<std::size_t> m_calls{0};    // of schedule() that have not returned
    std::atomic<std::size_t> m_pending{0};  // the size of m_work, for whoever only looks
    mutable std::mutex m_mutex;             // guards the rest
    std::condition_variable m_workOrStop;
    std::condition_variable m_threadEnded;
    std::deque<Work> m_work;
    Threads m_threads;
    Threads m_ended;  // left their loop, wait to be joined by the next one that does
    std::size_t m_idle = 0;
    bool m_isWatched = false;  // an idle thread looks for work before it sleeps
    bool m_stopping = false;
    bool m_stopped = false;
};

// How a body runs. Options that name no token leave it to the task library: a continuation that
// takes the value of the task before it is cancelled by that task's token, one that takes the task
// itself by none.

/// For bodies that may block: on the scheduler of this process, alone or with a token that cancels
/// them before they start. Throws std::runtime_error in a process that was forked from one in which
/// that scheduler worked.
Concurrency::task_options blocking();
Concurrency::task_options blocking(const Concurrency::cancellation_token& token);

/// For continuations that only pass something on: they run where the task before them ended, and at
/// once if it has ended. One that waits for a task which then fails runs on the HTTP library's pool
/// all the same.
Concurrency::task_options inlined();

/// For the task by which an outcome is handed over: it runs inline while a Handover lives on its
/// thread, so that it needs no other. What continues it, and inherits these options, does not: that
/// is a caller's, and runs as in blocking().
Concurrency::task_options handedOver();
class Handover {
public:
    Handover();
    ~Handover();
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;
};

/// Is cancelled when this process begins to end. The end waits for what runs in blocking(), so that
/// nothing there may go on waiting for others then.
Concurrency::cancellation_token processEnd();

/// At the end of this process, what runs in blocking() ends before anything static is destroyed
/// that was made before this call.
void stopAtProcessEnd();

}  // namespace platform
