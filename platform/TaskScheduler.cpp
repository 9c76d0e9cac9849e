#include "platform/TaskScheduler.h"

#include "platform/ProcessEnd.h"
#include "platform/ProcessMark.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

namespace platform {

namespace {

// Long enough to keep a thread between the requests of a busy program.
constexpr std::chrono::seconds keptWarm{10};

class InlineScheduler final : public Concurrency::scheduler_interface {
public:
    void schedule(Concurrency::TaskProc_t body, void* parameter) override { body(parameter); }
};

thread_local bool handsOver = false;

struct ProcessScheduler {
    GrowingScheduler scheduler{keptWarm};
    Concurrency::cancellation_token_source end;
    const ProcessMark home;

    GrowingScheduler& here() {
        if (!home.isHere()) {
            throw std::runtime_error("tokens were asked for before this process was forked");
        }
        return scheduler;
    }

    void stop() {
        if (home.isHere() && !otherThreadsAreGone()) {
            end.cancel();
            scheduler.stop();
        }
    }
};

ProcessScheduler& processScheduler() {
    // Never destroyed: timers and answers may still arrive and schedule something.
    static ProcessScheduler& instance = *[] {
        stopAtProcessEnd();
        return new ProcessScheduler;
    }();
    return instance;
}

class HandoverScheduler final : public Concurrency::scheduler_interface {
public:
    void schedule(Concurrency::TaskProc_t body, void* parameter) override {
        if (!std::exchange(handsOver, false)) {
            return processScheduler().here().schedule(body, parameter);
        }
        body(parameter);
        handsOver = true;
    }
};

}  // namespace

GrowingScheduler::GrowingScheduler(std::chrono::milliseconds idleLimit) : m_idleLimit(idleLimit) {}

GrowingScheduler::~GrowingScheduler() {
    stop();
    // The work of a call can be done, and this object released, before the call returns.
    while (m_calls != 0) {
        std::this_thread::yield();
    }
}

void GrowingScheduler::stop() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_stopping = true;
    m_workOrStop.notify_all();
    // A task body that ends the process gets here, and would wait for itself.
    const auto own = std::count_if(m_threads.begin(), m_threads.end(), [](const auto& thread) {
        return thread.get_id() == std::this_thread::get_id();
    });
    m_threadEnded.wait(lock, [&] { return m_threads.size() == static_cast<std::size_t>(own); });
    m_stopped = true;
    join(std::exchange(m_ended, {}));
}

void GrowingScheduler::schedule(Concurrency::TaskProc_t body, void* parameter) {
    struct Call {
        explicit Call(std::atomic<std::size_t>& all) : calls(all) { ++calls; }
        ~Call() { --calls; }
        std::atomic<std::size_t>& calls;
    };
    const Call call(m_calls);
    enqueue({body, parameter});
}

void GrowingScheduler::enqueue(const Work& work) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_stopped) {
        lock.unlock();
        work.body(work.parameter);
        return;
    }
    m_work.push_back(work);
    m_pending = m_work.size();
    // An idle thread that was woken for earlier work still counts as idle until it runs.
    if (m_work.size() <= m_idle) {
        const bool isSeen = m_isWatched && m_work.size() == 1;
        lock.unlock();  // otherwise the woken thread would have to wait for it
        if (!isSeen) {
            m_workOrStop.notify_one();
        }
        return;
    }
    try {
        startThread();
    } catch (...) {
        if (m_threads.empty()) {
            m_work.pop_back();
            m_pending = m_work.size();
            throw;
        }
        // The existing threads will get to it.
    }
}

std::size_t GrowingScheduler::threadCount() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_threads.size();
}

void GrowingScheduler::startThread() {
    const auto self = m_threads.emplace(m_threads.end());
    try {
        *self = std::thread([this, self] { run(self); });
    } catch (...) {
        m_threads.erase(self);
        throw;
    }
}

void GrowingScheduler::run(Threads::iterator self) {
    Threads ended;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            awaitWork(lock);
            if (m_work.empty()) {
                break;
            }
            const Work work = m_work.front();
            m_work.pop_front();
            m_pending = m_work.size();
            lock.unlock();
            work.body(work.parameter);
            lock.lock();
        }
        ended.swap(m_ended);
        m_ended.splice(m_ended.end(), m_threads, self);
        m_threadEnded.notify_all();
    }
    join(std::move(ended));
}

/// Returns when there is work, when none came for a while, or when the scheduler stops. Requests
/// often follow each other closely: one thread spins briefly before it sleeps, so that it need not
/// be woken.
void GrowingScheduler::awaitWork(std::unique_lock<std::mutex>& lock) {
    ++m_idle;
    if (m_work.empty() && !m_stopping && !m_isWatched && m_canWatch) {
        m_isWatched = true;
        lock.unlock();
        m_lookout.look([this] { return m_pending != 0; });
        lock.lock();
        m_isWatched = false;
    }
    m_workOrStop.wait_for(lock, m_idleLimit, [this] { return m_stopping || !m_work.empty(); });
    --m_idle;
}

void GrowingScheduler::join(Threads threads) {
    for (std::thread& thread : threads) {
        thread.join();
    }
}

Concurrency::task_options blocking() {
    return {static_cast<Concurrency::scheduler_interface&>(processScheduler().here())};
}

Concurrency::task_options blocking(const Concurrency::cancellation_token& token) {
    Concurrency::task_options options = blocking();
    options.set_cancellation_token(token);
    return options;
}

Concurrency::task_options inlined() {
    static InlineScheduler scheduler;
    return {static_cast<Concurrency::scheduler_interface&>(scheduler)};
}

Concurrency::task_options handedOver() {
    static HandoverScheduler scheduler;
    return {static_cast<Concurrency::scheduler_interface&>(scheduler)};
}

Handover::Handover() {
    handsOver = true;
}

Handover::~Handover() {
    handsOver = false;
}

Concurrency::cancellation_token processEnd() {
    return processScheduler().end.get_token();
}

void stopAtProcessEnd() {
    if (std::atexit([] { processScheduler().stop(); }) != 0) {
        throw std::bad_alloc();
    }
}

}  // namespace platform
