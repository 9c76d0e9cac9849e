#pragma once

namespace platform {

/// Starts the HTTP library's threads, or throws if the system has none left: a request without
/// threads would never finish. Windows has its own pool; nothing is started there.
///
/// Throws the system's error, std::runtime_error in a process that was forked from one with such
/// threads, and task_canceled at the end of the process.
void requireHttpThreads();

}  // namespace platform
