#pragma once

#include <boost/asio/io_service.hpp>

namespace platform {

/// The threads on which the HTTP library works. They are created by the first call, which a request
/// makes before it uses the network. OpenSSL is initialised before them, so that it still exists at
/// the end of the process, when these threads end and release their part of it. Bodies in
/// blocking(), which wait for these threads, have ended by then.
///
/// Throws std::runtime_error in a process that was forked from one with these threads, and
/// task_canceled at the end of the process.
boost::asio::io_service& httpPool();

}  // namespace platform
