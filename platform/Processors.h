#pragma once

namespace platform {

/// Whether two threads of this process can run at the same time.
bool hasSeveralProcessors() noexcept;

/// Tells the processor that this thread is spinning.
void relax() noexcept;

}  // namespace platform
