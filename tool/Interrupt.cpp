#include "tool/Interrupt.h"

#include "tool/ExitCode.h"

#include <boost/asio/signal_set.hpp>
#include <pplx/threadpool.h>

#include <csignal>
#include <cstdlib>

namespace tool {

struct Interrupt::Signals : std::enable_shared_from_this<Signals> {
    Signals() : set(crossplat::threadpool::shared_instance().service(), SIGINT) {}

    template <class Handler>
    void next(Handler handler) {
        set.async_wait(
            [self = shared_from_this(), handler](const boost::system::error_code& error, int) {
                if (!error) {
                    handler(self);
                }
            });
    }

    boost::asio::signal_set set;
};

Interrupt::Interrupt(const Concurrency::cancellation_token_source& source)
    : m_signals(std::make_shared<Signals>()) {
    m_signals->next([source](const std::shared_ptr<Signals>& signals) {
        // Listening again comes first: cancelling may take its time.
        signals->next([](const std::shared_ptr<Signals>&) {
            std::_Exit(static_cast<int>(ExitCode::Interrupted));
        });
        source.cancel();
    });
}

Interrupt::~Interrupt() {
    boost::system::error_code ignored;
    m_signals->set.cancel(ignored);
}

}  // namespace tool
