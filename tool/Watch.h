#pragma once

#include "platform/Tasks.h"
#include "tool/Asking.h"
#include "tool/Moment.h"

#include <functional>
#include <memory>

namespace tool {

/// Waits for moments and for requests; a signal that asks this process to end is noticed at once,
/// and leaves time for what must not be left half done. A second one ends the process while a
/// request that is cancelled does not.
class Watch {
public:
    /// To be made before there are threads, on which the signals could end the process.
    Watch();
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // These throw task_canceled once this process was asked to end.

    /// Returns sooner where somebody sets the system's clock.
    void sleepUntil(const Moment& moment);
    /// Cancels the request by its source when this process is asked to end.
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

    /// Whether it was to end as services are ended, rather than from the keyboard.
    bool isStopped() const;

private:
    struct State;

    bool isAskedToEnd() const;
    void awaitEvent(const std::function<void(std::function<void()>)>& begin,
                    const Concurrency::cancellation_token_source& source);

    std::unique_ptr<State> m_state;
};

}  // namespace tool
