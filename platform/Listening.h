#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include <functional>

namespace platform {

// Sockets that started programs do not inherit: a browser that inherited one would keep the port
// taken after we close it.

/// An acceptor that is not yet bound. It can take over an address as soon as the last user has
/// closed it, but never from somebody who still listens.
boost::asio::ip::tcp::acceptor openAcceptor(boost::asio::io_context& context,
                                            const boost::asio::ip::tcp& protocol);

/// Returns the accepted connection. Call it at most once, and only while its acceptor is open.
using TakePeer = std::function<boost::asio::ip::tcp::socket(boost::system::error_code&)>;

/// Awaits the next connection of a non-blocking, listening acceptor, and calls `arrived` once, on
/// the acceptor's context: when there is a connection, on an error, or when the acceptor is closed.
void awaitPeer(boost::asio::ip::tcp::acceptor& acceptor,
               std::function<void(const TakePeer&)> arrived);

}  // namespace platform
