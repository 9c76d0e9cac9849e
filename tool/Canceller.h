#pragma once

#include "platform/Tasks.h"

#include <system_error>
#include <thread>
#include <utility>

namespace tool {

/// Cancels once, on a separate thread if the system has one: cancelling may take a while, and a
/// second Ctrl-C must be handled meanwhile. The destructor waits for it.
class Canceller {
public:
    explicit Canceller(Concurrency::cancellation_token_source source)
        : m_source(std::move(source)) {}
    ~Canceller() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    Canceller(const Canceller&) = delete;
    Canceller& operator=(const Canceller&) = delete;

    void cancel() {
        try {
            m_thread = std::thread([this] { m_source.cancel(); });
        } catch (const std::system_error&) {
            m_source.cancel();
        }
    }

private:
    const Concurrency::cancellation_token_source m_source;
    std::thread m_thread;
};

}  // namespace tool
