#include "tool/Canceller.h"
#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/ProcessEnd.h"
#include "tool/windows/EndRequests.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace tool {

namespace {

std::atomic<bool> isTermination{false};

/// Wakes the waiting thread, even if it rang before the wait.
class Bell {
public:
    void ring() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_hasRung = true;
        }
        m_rings.notify_all();
    }

    void await(std::chrono::seconds longest) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_rings.wait_for(lock, longest, [this] { return m_hasRung; });
        m_hasRung = false;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_rings;
    bool m_hasRung = false;
};

}  // namespace

struct Signals::State {
    explicit State(const Concurrency::cancellation_token_source& source) : canceller(source) {}

    void hear(bool isFromElsewhere) {
        if (std::exchange(isCancelled, true)) {
            endAtOnce(ExitCode::Interrupted);
        }
        isTermination = isFromElsewhere;
        canceller.cancel();
    }

    const std::shared_ptr<Bell> bell = std::make_shared<Bell>();
    Canceller canceller;
    bool isCancelled = false;
    // Last, so that no signal is received while the other members are destroyed.
    const EndRequests requests{[this](bool isFromElsewhere) { hear(isFromElsewhere); }};
};

Signals::Signals(const Concurrency::cancellation_token_source& source)
    : m_state(std::make_unique<State>(source)) {}

Signals::~Signals() = default;

void Signals::run(const std::function<bool()>& isOver) const {
    // The call that wakes this thread may be missing if there is no thread for it.
    constexpr std::chrono::seconds longest{1};
    while (!isOver()) {
        m_state->bell->await(longest);
    }
}

std::function<void()> Signals::waker() const {
    return [bell = m_state->bell] { bell->ring(); };
}

bool Signals::wasTermination() {
    return isTermination;
}

}  // namespace tool
