#include "platform/Timer.h"

#include "platform/HttpThreads.h"
#include "platform/ProcessEnd.h"

#include <windows.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace platform {

namespace {

using std::chrono::milliseconds;
using Ticks = std::chrono::duration<long long, std::ratio<1, 10'000'000>>;
using Clock = std::chrono::steady_clock;

template <class Handle>
using Closed = std::unique_ptr<Handle, void (*)(Handle*)>;

template <class Handle>
Closed<Handle> closed(Handle* handle, void (*close)(Handle*)) {
    if (handle == nullptr) {
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
    }
    return {handle, close};
}

/// Callbacks run on the system's pool. The object is freed there, too, by a work item that is
/// created in advance: closing a timer waits for its callbacks, and a callback may itself close the
/// timer.
class Alarm {
public:
    struct Stop {
        void operator()(Alarm* alarm) const { alarm->stop(); }
    };
    using Owner = std::unique_ptr<Alarm, Stop>;

    static Owner start(milliseconds delay, std::optional<milliseconds> period,
                       std::function<void()> call) {
        requireHttpThreads();
        Owner alarm(new Alarm(period, std::move(call)));
        alarm->set(delay);
        return alarm;
    }

private:
    Alarm(std::optional<milliseconds> period, std::function<void()> call)
        : m_period(period), m_call(std::move(call)) {}

    void set(Clock::duration delay) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_stopped) {
            ULARGE_INTEGER due{};  // negative: relative to now
            due.QuadPart = static_cast<ULONGLONG>(
                -std::max(std::chrono::duration_cast<Ticks>(delay), Ticks::zero()).count());
            FILETIME time{due.LowPart, due.HighPart};
            ::SetThreadpoolTimer(m_timer.get(), &time, 0, 0);
        }
    }

    void stop() {
        if (otherThreadsAreGone()) {
            return;  // one of those threads may have held the lock
        }
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stopped = true;
            ::SetThreadpoolTimer(m_timer.get(), nullptr, 0, 0);
        }
        ::SubmitThreadpoolWork(m_end.get());
    }

    bool isStopped() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopped;
    }

    void expire() noexcept {
        const auto begin = Clock::now();
        if (isStopped()) {
            return;
        }
        m_call();
        if (m_period) {
            set(begin + *m_period - Clock::now());
        } else {
            m_call = nullptr;  // it may own this timer
        }
    }

    static void CALLBACK expired(PTP_CALLBACK_INSTANCE /*call*/, void* alarm, PTP_TIMER /*timer*/) {
        static_cast<Alarm*>(alarm)->expire();
    }
    static void CALLBACK ended(PTP_CALLBACK_INSTANCE /*call*/, void* self, PTP_WORK /*work*/) {
        const std::unique_ptr<Alarm> alarm(static_cast<Alarm*>(self));
        ::WaitForThreadpoolTimerCallbacks(alarm->m_timer.get(), TRUE);
    }

    const std::optional<milliseconds> m_period;  // none: it calls once
    std::function<void()> m_call;
    std::mutex m_mutex;  // guards m_stopped, and that nothing is set afterwards
    bool m_stopped = false;
    const Closed<TP_WORK> m_end =
        closed<TP_WORK>(::CreateThreadpoolWork(&ended, this, nullptr),
                        [](TP_WORK* work) { ::CloseThreadpoolWork(work); });
    const Closed<TP_TIMER> m_timer =
        closed<TP_TIMER>(::CreateThreadpoolTimer(&expired, this, nullptr),
                         [](TP_TIMER* timer) { ::CloseThreadpoolTimer(timer); });
};

}  // namespace

struct OneShotTimer::Impl {
    Alarm::Owner alarm;
};

OneShotTimer::OneShotTimer(milliseconds delay, std::function<void()> expired)
    : m_impl(new Impl{Alarm::start(delay, std::nullopt, std::move(expired))}) {}

OneShotTimer::~OneShotTimer() = default;

struct RepeatingTimer::Impl {
    Alarm::Owner alarm;
};

RepeatingTimer::RepeatingTimer(milliseconds period, std::function<void()> tick)
    : m_impl(new Impl{Alarm::start(period, period, std::move(tick))}) {}

RepeatingTimer::~RepeatingTimer() = default;

}  // namespace platform
