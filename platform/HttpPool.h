#pragma once

#include <boost/asio/io_service.hpp>

namespace platform {

/// The threads on which the HTTP library does its work. It is made with the first call, and OpenSSL
/// before it: so OpenSSL is still there at the end of the process, when these threads end and give
/// back what they hold of it.
boost::asio::io_service& httpPool();

}  // namespace platform
