#pragma once

#include "auth/detail/Waiting.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace auth::detail {

/// A task that ends with the first outcome that it is given; later ones are dropped. Any thread may
/// set one, and the outcome need not be read.
///
/// Two properties of the task library are the reason. If an event is given an exception and a
/// value, the exception can stay unread, which ends the process. And continuations of a failed task
/// wait for a thread of the HTTP library's pool, whatever their options say: if the system has no
/// more threads, they never run. So the event only carries values, and actions that must always
/// happen run before the task fails.
template <class T>
class FirstOutcome {
public:
    /// Returns false if there already was an outcome.
    bool set(const T& value) { return end({std::make_shared<const T>(value), nullptr}); }
    bool fail(const std::exception_ptr& reason) { return end({nullptr, reason}); }

    bool isDecided() const { return m_decided; }

    const Concurrency::task<T>& task() const { return m_task; }

    /// A task with the result of `map` for the value. Call it before an outcome is set.
    template <class Map>
    auto taskOf(Map map) {
        auto task = m_ended.then(
            [map = std::move(map)](const Outcome& outcome) {
                if (outcome.failure) {
                    std::rethrow_exception(outcome.failure);
                }
                return map(*outcome.value);
            },
            platform::handedOver());
        m_unread.push_back([task] { readForNobody(task); });
        return task;
    }

private:
    struct Outcome {
        std::shared_ptr<const T> value;
        std::exception_ptr failure;
    };

    bool end(const Outcome& outcome) {
        const bool isFirst = !m_decided.exchange(true);
        if (isFirst) {
            {
                const platform::Handover handover;
                m_event.set(outcome);
            }
            for (const auto& read : m_unread) {
                read();
            }
        }
        return isFirst;
    }

    std::atomic<bool> m_decided{false};
    const Concurrency::task_completion_event<Outcome> m_event;
    const Concurrency::task<Outcome> m_ended = Concurrency::create_task(m_event);
    std::vector<std::function<void()>> m_unread;  // the tasks that end with m_event
    const Concurrency::task<T> m_task = taskOf([](const T& value) { return value; });
};

/// Runs `body` where it may block. `result` gets its outcome, or fails if there is no thread.
template <class T, class Body>
void runInBackground(const std::shared_ptr<FirstOutcome<T>>& result, Body body) {
    const auto run = Concurrency::create_task(
        [result, body = std::move(body)] {
            try {
                result->set(body());
            } catch (...) {
                result->fail(std::current_exception());
            }
        },
        platform::blocking());
    if (run.is_done()) {
        try {
            run.get();
        } catch (...) {
            result->fail(std::current_exception());
        }
    }
}

template <class T, class Body>
Concurrency::task<T> inBackground(Body body) {
    const auto result = std::make_shared<FirstOutcome<T>>();
    runInBackground(result, std::move(body));
    return result->task();
}

/// For a body without a result.
template <class Body>
Concurrency::task<void> actInBackground(Body body) {
    const auto result = std::make_shared<FirstOutcome<bool>>();
    auto task = result->taskOf([](bool) {});
    runInBackground(result, [body = std::move(body)] {
        body();
        return true;
    });
    return task;
}

}  // namespace auth::detail
