#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/ProcessEnd.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

namespace tool {

namespace {

std::atomic<bool> isTermination{false};

}  // namespace

struct Signals::State {
    explicit State(Concurrency::cancellation_token_source cancelled)
        : source(std::move(cancelled)) {
        signals.async_wait([this](const boost::system::error_code& error, int signal) {
            if (!error) {
                awaitSecond();
                isTermination = signal == SIGTERM;
                cancel();
            }
        });
    }
    ~State() {
        if (canceller.joinable()) {
            canceller.join();
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void awaitSecond() {
        signals.async_wait([](const boost::system::error_code& error, int) {
            if (!error) {
                endAtOnce(ExitCode::Interrupted);
            }
        });
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
    std::shared_ptr<boost::asio::io_context> context = std::make_shared<boost::asio::io_context>();
    boost::asio::signal_set signals{*context, SIGINT, SIGTERM};
    std::thread canceller;
};

Signals::Signals(const Concurrency::cancellation_token_source& source)
    : m_state(std::make_unique<State>(source)) {}

Signals::~Signals() = default;

void Signals::run(const std::function<bool()>& isOver) const {
    // Who wakes may find no thread for it.
    constexpr std::chrono::seconds longest{1};
    boost::asio::io_context& context = *m_state->context;
    for (;;) {
        context.restart();  // before the question: what is over behind it stops the context again
        if (isOver()) {
            return;
        }
        context.run_one_for(longest);
    }
}

std::function<void()> Signals::waker() const {
    return [context = m_state->context] { context->stop(); };
}

bool Signals::wasTermination() {
    return isTermination;
}

}  // namespace tool
