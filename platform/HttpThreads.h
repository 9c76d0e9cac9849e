#pragma once

namespace platform {

/// Starts the HTTP library's threads, or throws if the system gives none: a request without threads
/// would never finish. Windows has a pool of its own; nothing is started there.
///
/// Throws what the system says, std::runtime_error in a process that was forked from one that had
/// such threads, and task_canceled at the end of the process.
void requireHttpThreads();

}  // namespace platform
