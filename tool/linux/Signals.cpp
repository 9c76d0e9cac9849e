#include "tool/Canceller.h"
#include "tool/ExitCode.h"
#include "tool/Interrupt.h"
#include "tool/ProcessEnd.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <atomic>
#include <chrono>
#include <csignal>

namespace tool {

namespace {

std::atomic<bool> isTermination{false};

}  // namespace

struct Signals::State {
    explicit State(const Concurrency::cancellation_token_source& source) : canceller(source) {
        signals.async_wait([this](const boost::system::error_code& error, int signal) {
            if (!error) {
                awaitSecond();
                isTermination = signal == SIGTERM;
                canceller.cancel();
            }
        });
    }
    void awaitSecond() {
        signals.async_wait([](const boost::system::error_code& error, int) {
            if (!error) {
                endAtOnce(ExitCode::Interrupted);
            }
        });
    }

    std::shared_ptr<boost::asio::io_context> context = std::make_shared<boost::asio::io_context>();
    boost::asio::signal_set signals{*context, SIGINT, SIGTERM};
    Canceller canceller;
};

Signals::Signals(const Concurrency::cancellation_token_source& source)
    : m_state(std::make_unique<State>(source)) {}

Signals::~Signals() = default;

void Signals::run(const std::function<bool()>& isOver) const {
    // The call that wakes this thread may be missing if there is no thread for it.
    constexpr std::chrono::seconds longest{1};
    boost::asio::io_context& context = *m_state->context;
    for (;;) {
        context.restart();  // before the check: a later end stops the context again
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
