#pragma once

#include "auth/detail/Waiting.h"

#include <atomic>
#include <exception>

namespace auth::detail {

/// A task that ends with the first outcome that it is given; later ones are dropped. The task
/// library's event must not be asked to choose: an exception that meets a value there can be left
/// unread, and ends the process. Any thread may give an outcome; nobody need read it.
template <class T>
class FirstOutcome {
public:
    /// False when it was decided before.
    bool set(const T& value) {
        const bool isFirst = !m_decided.exchange(true);
        if (isFirst) {
            m_event.set(value);
        }
        return isFirst;
    }

    bool fail(const std::exception_ptr& reason) {
        const bool isFirst = !m_decided.exchange(true);
        if (isFirst) {
            m_event.set_exception(reason);
        }
        return isFirst;
    }

    bool isDecided() const { return m_decided; }

    const Concurrency::task<T>& task() const { return m_task; }

private:
    std::atomic<bool> m_decided{false};
    const Concurrency::task_completion_event<T> m_event;
    const Concurrency::task<T> m_task = observed(Concurrency::create_task(m_event));
};

}  // namespace auth::detail
