#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace auth::testing::detail {

/// A socket that a program started by a test inherits would stay open after the server closed it.
void keepFromChildren(boost::asio::ip::tcp::socket::native_handle_type socket);

}  // namespace auth::testing::detail
