#include "tool/Watch.h"

#include "tool/ExitCode.h"
#include "tool/ProcessEnd.h"
#include "tool/linux/Descriptor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <limits>
#include <system_error>

namespace tool {

namespace {

using std::chrono::steady_clock;

int opened(int descriptor) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot wait");
    }
    return descriptor;
}

/// The signals that end a service, or a program in a terminal. An ignored signal stays ignored.
sigset_t endingSignals() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction action {};
        ::sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            ::sigaddset(&signals, number);
        }
    }
    return signals;
}

int waitInMilliseconds(steady_clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

}  // namespace

struct Watch::State {
    sigset_t signals = endingSignals();
    Descriptor signal{opened(::signalfd(-1, &signals, SFD_CLOEXEC))};
    Descriptor timer{opened(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC))};
    std::uint32_t received = 0;

    /// Returns when the descriptor is readable, the time is over, or a signal has arrived. Returns
    /// whether it was a signal.
    bool wait(const Descriptor& descriptor, int milliseconds) {
        std::array<pollfd, 2> awaited{{{signal.get(), POLLIN, 0}, {descriptor.get(), POLLIN, 0}}};
        const int ready = ::poll(awaited.data(), awaited.size(), milliseconds);
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait");
        }
        signalfd_siginfo info{};
        if (ready <= 0 || awaited.front().revents == 0 ||
            ::read(signal.get(), &info, sizeof info) != sizeof info) {
            return false;
        }
        received = info.ssi_signo;
        return true;
    }
};

Watch::Watch() : m_state(std::make_unique<State>()) {
    ::pthread_sigmask(SIG_BLOCK, &m_state->signals, nullptr);
}

Watch::~Watch() = default;

void Watch::sleepUntil(const Moment& moment) {
    const auto distance = moment.system().time_since_epoch();
    const auto whole = std::chrono::floor<std::chrono::seconds>(distance);
    itimerspec due{};
    due.it_value.tv_sec = whole.count();
    due.it_value.tv_nsec = std::chrono::nanoseconds(distance - whole).count();
    ::timerfd_settime(m_state->timer.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &due,
                      nullptr);
    m_state->wait(m_state->timer, waitInMilliseconds(moment.steady()));
    if (isAskedToEnd()) {
        throw Concurrency::task_canceled();
    }
}

void Watch::awaitEvent(const std::function<void(std::function<void()>)>& begin,
                       const Concurrency::cancellation_token_source& source) {
    const auto event = std::make_shared<Descriptor>(opened(::eventfd(0, EFD_CLOEXEC)));
    const auto hasCome = std::make_shared<std::atomic<bool>>(false);
    begin([event, hasCome] {
        *hasCome = true;
        ::eventfd_write(event->get(), 1);
    });
    while (!*hasCome) {
        const bool wasAsked = isAskedToEnd();
        if (!m_state->wait(*event, -1)) {
            continue;
        }
        if (wasAsked) {
            endAtOnce(ExitCode::Interrupted);
        }
        source.cancel();
    }
}

bool Watch::isAskedToEnd() const {
    return m_state->received != 0;
}

bool Watch::isStopped() const {
    return m_state->received == SIGTERM;
}

}  // namespace tool
