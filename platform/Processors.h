#pragma once

namespace platform {

/// Whether two threads of this process can run at the same time.
bool hasSeveralProcessors() noexcept;

/// Tells the processor that this thread looks for what another one does.
void relax() noexcept;

}  // namespace platform
