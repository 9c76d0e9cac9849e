#include "tool/Interrupt.h"

#include "tool/ExitCode.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <list>
#include <thread>

namespace tool {

namespace {

std::atomic<bool> isTermination{false};

}  // namespace

/// Has threads of its own: those of the HTTP library are there only once a request needs them. Two,
/// since cancelling may take its time, and a second Ctrl-C must be heard meanwhile.
class Interrupt::Signals {
public:
    explicit Signals(const Concurrency::cancellation_token_source& source) {
        m_signals.async_wait([this, source](const boost::system::error_code& error, int signal) {
            if (!error) {
                awaitSecond();
                isTermination = signal == SIGTERM;
                source.cancel();
            }
        });
        try {
            for (int i = 0; i < 2; ++i) {
                m_threads.emplace_back([this] { m_context.run(); });
            }
        } catch (...) {
            end();
            throw;
        }
    }
    ~Signals() { end(); }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

private:
    void awaitSecond() {
        m_signals.async_wait([](const boost::system::error_code& error, int) {
            if (!error) {
                std::_Exit(static_cast<int>(ExitCode::Interrupted));
            }
        });
    }

    void end() {
        m_context.stop();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }

    boost::asio::io_context m_context;
    boost::asio::signal_set m_signals{m_context, SIGINT, SIGTERM};
    std::list<std::thread> m_threads;
};

Interrupt::Interrupt(const Concurrency::cancellation_token_source& source)
    : m_signals(std::make_unique<Signals>(source)) {}

Interrupt::~Interrupt() = default;

bool Interrupt::wasTermination() {
    return isTermination;
}

}  // namespace tool
