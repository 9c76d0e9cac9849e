#pragma once

#include "platform/Tasks.h"

#include <memory>

namespace tool {

/// Turns Ctrl-C into the cancellation of its token while it lives. A second Ctrl-C ends the
/// process.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    Concurrency::cancellation_token token() const { return m_source.get_token(); }

private:
    struct Signals;

    Concurrency::cancellation_token_source m_source;
    std::shared_ptr<Signals> m_signals;
};

}  // namespace tool
