#pragma once

namespace platform {

/// Whether this process has ended so far that none of its other threads runs any more, though it
/// still destroys what is static: nothing may wait for one then, nor for a lock that it may have
/// held. On Linux threads run until the very end. On Windows the system ends them before a DLL
/// hears of the end, but after that of the program itself.
bool otherThreadsAreGone() noexcept;

}  // namespace platform
