#pragma once

#include <boost/asio/io_service.hpp>

namespace platform {

/// The threads on which the HTTP library does its work. They are made with the first call, which a
/// request makes that goes to the network, and OpenSSL before them: so OpenSSL is still there at
/// the end of the process, when these threads end and give back what they hold of it. What runs in
/// blocking() has ended before them, since it waits for them.
///
/// Throws std::runtime_error in a process that was forked from one that had them, and task_canceled
/// at the end of the process.
boost::asio::io_service& httpPool();

}  // namespace platform
