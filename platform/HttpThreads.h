#pragma once

namespace platform {

/// Makes sure of the threads on which the HTTP library does its work, so that a request to which
/// the system gives none fails, and is not lost. On Windows the system has a pool of its own, and
/// gives them.
///
/// Throws what the system says, std::runtime_error in a process that was forked from one that had
/// such threads, and task_canceled at the end of the process.
void requireHttpThreads();

}  // namespace platform
