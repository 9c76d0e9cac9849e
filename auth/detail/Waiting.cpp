#include "auth/detail/Waiting.h"

namespace auth::detail {

void waitUnlessCancelled(const Concurrency::task<void>& task,
                         const Concurrency::cancellation_token& token) {
    if (token.is_cancelable()) {
        const Concurrency::task_completion_event<void> endedOrCancelled;
        observed(task).then(
            [endedOrCancelled](const Concurrency::task<void>&) { endedOrCancelled.set(); },
            platform::inlined());
        const auto registration =
            token.register_callback([endedOrCancelled] { endedOrCancelled.set(); });
        Concurrency::create_task(endedOrCancelled).wait();
        token.deregister_callback(registration);
        if (token.is_canceled()) {
            throw Concurrency::task_canceled();
        }
    }
    task.get();
}

}  // namespace auth::detail
