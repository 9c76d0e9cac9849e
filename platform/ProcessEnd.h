#pragma once

namespace platform {

/// True once the process is ending and the system has ended its other threads. Destructors of
/// statics must then neither wait for a thread nor take a lock that one may have held. Always false
/// on Linux. On Windows true in a DLL's static destructors, but not yet in the program's.
bool otherThreadsAreGone() noexcept;

}  // namespace platform
