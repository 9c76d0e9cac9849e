#include "platform/Timer.h"

#include "platform/HttpPool.h"

#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <utility>

namespace platform {

struct OneShotTimer::Impl {
    Impl() : timer(httpPool()) {}

    boost::asio::steady_timer timer;
    // A handler that is queued already can no longer be cancelled; this tells it.
    std::shared_ptr<std::atomic<bool>> active = std::make_shared<std::atomic<bool>>(true);
};

OneShotTimer::OneShotTimer(std::chrono::milliseconds delay, std::function<void()> expired)
    : m_impl(std::make_unique<Impl>()) {
    m_impl->timer.expires_after(delay);
    m_impl->timer.async_wait([active = m_impl->active, expired = std::move(expired)](
                                 const boost::system::error_code& error) {
        if (!error && active->exchange(false)) {
            expired();
        }
    });
}

OneShotTimer::~OneShotTimer() {
    m_impl->active->store(false);
}

}  // namespace platform
