#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include <functional>

namespace platform {

// Sockets that started programs do not inherit: a browser that kept one of them would keep the port
// taken after us.

/// An acceptor, not yet bound, that takes over an address at once after its last user is gone, but
/// never from one who still listens.
boost::asio::ip::tcp::acceptor openAcceptor(boost::asio::io_context& context,
                                            const boost::asio::ip::tcp& protocol);

/// Gives the connection that came. To be called once at most, and only while its acceptor is open.
using TakePeer = std::function<boost::asio::ip::tcp::socket(boost::system::error_code&)>;

/// Awaits the next connection of a non-blocking acceptor that listens, and calls `arrived` once, on
/// the acceptor's context: when there is one, when it failed, or when the acceptor is closed.
void awaitPeer(boost::asio::ip::tcp::acceptor& acceptor,
               std::function<void(const TakePeer&)> arrived);

}  // namespace platform
