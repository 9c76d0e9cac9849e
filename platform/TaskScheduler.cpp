#include "platform/TaskScheduler.h"

#include "platform/HttpPool.h"

#include <algorithm>
#include <memory>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// Long enough to keep a thread warm between the requests of a busy program.
constexpr std::chrono::seconds keptWarm{10};

class InlineScheduler final : public Concurrency::scheduler_interface {
public:
    void schedule(Concurrency::TaskProc_t body, void* parameter) override { body(parameter); }
};

struct StopAtExit {
    GrowingScheduler& scheduler;
    ~StopAtExit() { scheduler.stop(); }
};

GrowingScheduler& growingScheduler() {
    // The pool must outlive our threads, which wait for it: what is made later is destroyed first.
    httpPool();
    // Never destroyed: timers and answers may still come and schedule something.
    static GrowingScheduler& scheduler = *std::make_unique<GrowingScheduler>(keptWarm).release();
    static const StopAtExit stopAtExit{scheduler};
    return scheduler;
}

}  // namespace

GrowingScheduler::GrowingScheduler(std::chrono::milliseconds idleLimit) : m_idleLimit(idleLimit) {}

GrowingScheduler::~GrowingScheduler() {
    stop();
}

void GrowingScheduler::stop() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_stopping = true;
    m_workOrStop.notify_all();
    // A body that ends the process gets here, and would wait for itself.
    const auto own = std::count_if(m_threads.begin(), m_threads.end(), [](const auto& thread) {
        return thread.get_id() == std::this_thread::get_id();
    });
    m_threadEnded.wait(lock, [&] { return m_threads.size() == static_cast<std::size_t>(own); });
    m_stopped = true;
    join(std::exchange(m_ended, {}));
}

void GrowingScheduler::schedule(Concurrency::TaskProc_t body, void* parameter) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_stopped) {
        lock.unlock();
        body(parameter);
        return;
    }
    m_work.push_back({body, parameter});
    // An idle thread that was woken for earlier work still counts as idle until it runs.
    if (m_work.size() <= m_idle) {
        // Under the lock: without it the work can be done, the program at its end and this object
        // gone before the call is.
        m_workOrStop.notify_one();
        return;
    }
    try {
        startThread();
    } catch (const std::system_error&) {
        if (m_threads.empty()) {
            m_work.pop_back();
            throw;
        }
        // The threads that there are come to it in their time.
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
            ++m_idle;
            m_workOrStop.wait_for(lock, m_idleLimit,
                                  [this] { return m_stopping || !m_work.empty(); });
            --m_idle;
            if (m_work.empty()) {
                break;
            }
            const Work work = m_work.front();
            m_work.pop_front();
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

void GrowingScheduler::join(Threads threads) {
    for (std::thread& thread : threads) {
        thread.join();
    }
}

Concurrency::task_options blocking() {
    return {static_cast<Concurrency::scheduler_interface&>(growingScheduler())};
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

}  // namespace platform
