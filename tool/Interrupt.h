#pragma once

#include "platform/Tasks.h"

#include <memory>

namespace tool {

/// Turns Ctrl-C, and the request to terminate, into the cancellation of `source` while it lives.
/// The second one ends the process.
class Interrupt {
public:
    explicit Interrupt(const Concurrency::cancellation_token_source& source);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    /// Whether it was the request to terminate, which need not come from the user.
    static bool wasTermination();

private:
    class Signals;

    std::unique_ptr<Signals> m_signals;
};

}  // namespace tool
