#include "tool/Watch.h"

#include "tool/ProcessEnd.h"
#include "tool/windows/EndRequests.h"
#include "tool/windows/Handle.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>

namespace tool {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Ticks = std::chrono::duration<LONGLONG, std::ratio<1, 10'000'000>>;

constexpr const char* cannotWait = "cannot wait";

Handle makeEvent() {
    return required(::CreateEventW(nullptr, FALSE, FALSE, nullptr), cannotWait);
}

DWORD waitInMilliseconds(steady_clock::time_point end) {
    constexpr milliseconds longest{INFINITE - 1};
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
    return static_cast<DWORD>(std::clamp(left, milliseconds(0), longest).count());
}

/// In units of 100 ns since 1601, as the system's timers expect.
LARGE_INTEGER dueTime(std::chrono::system_clock::time_point time) {
    constexpr std::chrono::seconds until1970{11'644'473'600};
    LARGE_INTEGER due{};
    due.QuadPart = std::chrono::duration_cast<Ticks>(time.time_since_epoch() + until1970).count();
    return due;
}

}  // namespace

struct Watch::State {
    enum class Request { none, keyboard, termination };

    const Handle requested = makeEvent();
    const Handle timer = required(::CreateWaitableTimerW(nullptr, FALSE, nullptr), cannotWait);
    std::atomic<Request> request{Request::none};
    Request received = Request::none;  // received by the waiting thread
    const EndRequests requests{[this](bool isTermination) {
        request = isTermination ? Request::termination : Request::keyboard;
        ::SetEvent(requested.get());
    }};

    /// Returns when the object is signalled, the time is over, or this process is asked to end.
    /// Returns whether it was asked to end.
    bool wait(const Handle& object, DWORD limit) {
        const std::array<HANDLE, 2> awaited{requested.get(), object.get()};
        const DWORD outcome = ::WaitForMultipleObjects(static_cast<DWORD>(awaited.size()),
                                                       awaited.data(), FALSE, limit);
        if (outcome == WAIT_FAILED) {
            failSystem(cannotWait);
        }
        if (outcome == WAIT_OBJECT_0) {
            received = request;
        }
        return outcome == WAIT_OBJECT_0;
    }
};

Watch::Watch() : m_state(std::make_unique<State>()) {}

Watch::~Watch() = default;

void Watch::sleepUntil(const Moment& moment) {
    // A timer of the system clock also rings when that clock is set, or when the machine wakes.
    const LARGE_INTEGER due = dueTime(moment.system());
    if (::SetWaitableTimer(m_state->timer.get(), &due, 0, nullptr, nullptr, FALSE) == 0) {
        failSystem(cannotWait);
    }
    m_state->wait(m_state->timer, waitInMilliseconds(moment.steady()));
    if (isAskedToEnd()) {
        throw Concurrency::task_canceled();
    }
}

void Watch::awaitEvent(const std::function<void(std::function<void()>)>& begin,
                       const Concurrency::cancellation_token_source& source) {
    const auto event = std::make_shared<Handle>(makeEvent());
    const auto hasCome = std::make_shared<std::atomic<bool>>(false);
    begin([event, hasCome] {
        *hasCome = true;
        ::SetEvent(event->get());
    });
    while (!*hasCome) {
        const bool wasAsked = isAskedToEnd();
        if (!m_state->wait(*event, INFINITE)) {
            continue;
        }
        if (wasAsked) {
            endAtOnce(ExitCode::Interrupted);
        }
        source.cancel();
    }
}

bool Watch::isAskedToEnd() const {
    return m_state->received != State::Request::none;
}

bool Watch::isStopped() const {
    return m_state->received == State::Request::termination;
}

}  // namespace tool
