#pragma once

#include "platform/Tasks.h"

#include <memory>

namespace tool {

/// Turns Ctrl-C into the cancellation of `source` while it lives. A second Ctrl-C ends the process.
class Interrupt {
public:
    explicit Interrupt(const Concurrency::cancellation_token_source& source);
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

private:
    class Signals;

    std::unique_ptr<Signals> m_signals;
};

}  // namespace tool
