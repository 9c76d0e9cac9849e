#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace auth::testing::detail {

/// If a program started by a test inherited the socket, it would stay open after the server closes
/// it.
void keepFromChildren(boost::asio::ip::tcp::socket::native_handle_type socket);

}  // namespace auth::testing::detail
