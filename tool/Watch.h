#pragma once

#include "platform/Tasks.h"
#include "tool/Asking.h"
#include "tool/Moment.h"

#include <functional>
#include <memory>

namespace tool {

/// Waits for times and for requests. A signal that asks this process to end interrupts the wait at
/// once, but leaves time to finish work that must not be left half done. A second signal ends the
/// process while a cancelled request is still running.
class Watch {
public:
    /// Create it before there are threads: on those the signals could end the process.
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // These throw task_canceled once this process has been asked to end.

    /// Returns earlier if the system clock is set.
    void sleepUntil(const Moment& moment);
    /// Cancels the request by its source if this process is asked to end.
    template <class T>
    T await(const Concurrency::task<T>& request,
            const Concurrency::cancellation_token_source& source) {
        if (!request.is_done()) {
            awaitEvent(
                [&request](const std::function<void()>& notify) {
                    request.then([notify](const Concurrency::task<T>&) { notify(); }, atOnce());
                },
                source);
        }
        if (isAskedToEnd()) {
            endUnheard(source, request);
            throw Concurrency::task_canceled();
        }
        return request.get();
    }

    /// Whether it was asked to end as services are, rather than from the keyboard.
    bool isStopped() const;

private:
    struct State;

    bool isAskedToEnd() const;
    void awaitEvent(const std::function<void(std::function<void()>)>& begin,
                    const Concurrency::cancellation_token_source& source);

    std::unique_ptr<State> m_state;
};

}  // namespace tool
