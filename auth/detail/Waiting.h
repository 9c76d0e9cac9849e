#pragma once

#include "platform/TaskScheduler.h"

namespace auth::detail {

/// Waits for a task, but no longer than until the token is cancelled: then throws task_canceled and
/// leaves the task to end by itself.
void waitUnlessCancelled(const Concurrency::task<void>& task,
                         const Concurrency::cancellation_token& token);

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
