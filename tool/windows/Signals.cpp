#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/ProcessEnd.h"
#include "tool/windows/EndRequests.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>

namespace tool {

namespace {

std::atomic<bool> isTermination{false};

/// Wakes who waits, also where it rang before.
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
    explicit State(Concurrency::cancellation_token_source cancelled)
        : source(std::move(cancelled)) {}

    ~State() {
        requests.reset();  // from here on nothing is heard
        if (canceller.joinable()) {
            canceller.join();
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void hear(bool isFromElsewhere) {
        if (std::exchange(isCancelled, true)) {
            endAtOnce(ExitCode::Interrupted);
        }
        isTermination = isFromElsewhere;
        cancel();
    }

    /// It may take its time, and a second Ctrl-C must be heard meanwhile.
    void cancel() {
        try {
            canceller = std::thread([this] { source.cancel(); });
        } catch (const std::system_error&) {
            source.cancel();
        }
    }

    const Concurrency::cancellation_token_source source;
    const std::shared_ptr<Bell> bell = std::make_shared<Bell>();
    std::thread canceller;
    bool isCancelled = false;
    std::unique_ptr<EndRequests> requests =
        std::make_unique<EndRequests>([this](bool isFromElsewhere) { hear(isFromElsewhere); });
};

Signals::Signals(const Concurrency::cancellation_token_source& source)
    : m_state(std::make_unique<State>(source)) {}

Signals::~Signals() = default;

void Signals::run(const std::function<bool()>& isOver) const {
    // Who wakes may find no thread for it.
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
