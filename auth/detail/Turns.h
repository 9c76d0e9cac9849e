#pragma once

#include "auth/detail/Waiting.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace auth::detail {

/// A mutex whose waiters can give up.
class Turns {
    struct State {
        std::mutex mutex;
        std::condition_variable freed;
        bool isTaken = false;
    };

public:
    /// Held until it is destroyed.
    class Turn {
    public:
        explicit Turn(std::shared_ptr<State> state) : m_state(std::move(state)) {}
        ~Turn() {
            {
                const std::lock_guard<std::mutex> lock(m_state->mutex);
                m_state->isTaken = false;
            }
            m_state->freed.notify_one();
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        const std::shared_ptr<State> m_state;
    };

    /// Throws task_canceled if the token is cancelled, or the process ends, before the turn comes.
    Turn take(const Concurrency::cancellation_token& token) {
        const Interruption wake(token, [state = m_state] {
            const std::lock_guard<std::mutex> lock(state->mutex);
            state->freed.notify_all();
        });
        std::unique_lock<std::mutex> lock(m_state->mutex);
        m_state->freed.wait(lock, [&] { return !m_state->isTaken || isInterrupted(token); });
        if (isInterrupted(token)) {
            m_state->freed.notify_one();  // this waiter may have been notified of the free turn
            throw Concurrency::task_canceled();
        }
        m_state->isTaken = true;
        return Turn(m_state);
    }

private:
    const std::shared_ptr<State> m_state = std::make_shared<State>();
};

}  // namespace auth::detail
