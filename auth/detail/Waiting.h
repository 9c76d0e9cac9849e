#pragma once

#include "platform/TaskScheduler.h"

#include <exception>

namespace auth::detail {

/// Takes a callback back. The task library would let go twice of one that was registered at the
/// very moment of the cancellation; a cancelled token lets go of all by itself.
inline void deregister(const Concurrency::cancellation_token& token,
                       const Concurrency::cancellation_token_registration& registration) {
    if (!token.is_canceled()) {
        token.deregister_callback(registration);
    }
}

/// The task that `begin` gives; what it throws is the failure of the task.
template <class Begin>
auto orFailed(const Begin& begin) -> decltype(begin()) {
    try {
        return begin();
    } catch (...) {
        using Result = typename decltype(begin())::result_type;
        return Concurrency::task_from_exception<Result>(std::current_exception());
    }
}

/// Reads a task's outcome for nobody: an exception that nobody reads would end the process.
template <class T>
Concurrency::task<T> observed(Concurrency::task<T> task) {
    task.then(
        [](const Concurrency::task<T>& ended) {
            try {
                ended.get();
            } catch (...) {  // NOLINT(bugprone-empty-catch)
            }
        },
        platform::inlined());
    return task;
}

}  // namespace auth::detail
