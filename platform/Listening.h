#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

namespace platform {

// Sockets that started programs do not inherit: a browser that kept one of them would keep the port
// taken after us.

/// An acceptor, not yet bound, that takes over an address at once after its last user is gone, but
/// never from one who still listens.
boost::asio::ip::tcp::acceptor openAcceptor(boost::asio::io_context& context,
                                            const boost::asio::ip::tcp& protocol);

/// The next connection of a non-blocking acceptor.
boost::asio::ip::tcp::socket acceptFrom(boost::asio::ip::tcp::acceptor& acceptor,
                                        boost::system::error_code& error);

}  // namespace platform
