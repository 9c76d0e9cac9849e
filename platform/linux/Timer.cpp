#include "platform/Timer.h"

#include "platform/linux/HttpPool.h"

#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <mutex>
#include <utility>

namespace platform {

struct OneShotTimer::Impl {
    Impl() : timer(httpPool()) {}

    boost::asio::steady_timer timer;
    // A handler that is already queued cannot be cancelled; this flag tells it to do nothing.
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

struct RepeatingTimer::Impl : std::enable_shared_from_this<Impl> {
    Impl(std::chrono::milliseconds every, std::function<void()> call)
        : period(every), tick(std::move(call)), timer(httpPool(), every) {}

    void waitUnlessStopped() {
        const std::lock_guard<std::mutex> lock(mutex);
        if (stopped) {
            return;
        }
        timer.async_wait([self = shared_from_this()](const boost::system::error_code&) {
            if (self->takeTurn()) {
                self->tick();
                self->waitUnlessStopped();
            }
        });
    }

    bool takeTurn() {
        const std::lock_guard<std::mutex> lock(mutex);
        timer.expires_after(period);
        return !stopped;
    }

    void stop() {
        const std::lock_guard<std::mutex> lock(mutex);
        stopped = true;
        timer.cancel();
    }

    const std::chrono::milliseconds period;
    const std::function<void()> tick;
    std::mutex mutex;  // guards the rest
    bool stopped = false;
    boost::asio::steady_timer timer;
};

RepeatingTimer::RepeatingTimer(std::chrono::milliseconds period, std::function<void()> tick)
    : m_impl(std::make_shared<Impl>(period, std::move(tick))) {
    m_impl->waitUnlessStopped();
}

RepeatingTimer::~RepeatingTimer() {
    m_impl->stop();
}

}  // namespace platform
