#include "platform/Listening.h"

#include <boost/asio/error.hpp>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

// Asio does not set close-on-exec, and if it is set afterwards, a program can be started in
// between. So the sockets are created here.

namespace platform {

using boost::asio::ip::tcp;
using boost::system::error_code;

namespace {

error_code lastError() {
    return {errno, boost::system::system_category()};
}

template <class Socket>
void adopt(Socket& socket, const tcp& protocol, int descriptor, error_code& error) {
    if (descriptor < 0) {
        error = lastError();
        return;
    }
    socket.assign(protocol, descriptor, error);
    if (error) {
        ::close(descriptor);
    }
}

tcp::socket acceptFrom(tcp::acceptor& acceptor, error_code& error) {
    tcp::socket socket(acceptor.get_executor());
    const tcp::endpoint here = acceptor.local_endpoint(error);
    if (!error) {
        adopt(socket, here.protocol(),
              ::accept4(acceptor.native_handle(), nullptr, nullptr, SOCK_CLOEXEC), error);
    }
    return socket;
}

}  // namespace

tcp::acceptor openAcceptor(boost::asio::io_context& context, const tcp& protocol) {
    tcp::acceptor acceptor(context);
    error_code error;
    adopt(acceptor, protocol,
          ::socket(protocol.family(), protocol.type() | SOCK_CLOEXEC, protocol.protocol()), error);
    if (error) {
        throw boost::system::system_error(error);
    }
    // Connections of the last user may still be in TIME_WAIT.
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    return acceptor;
}

void awaitPeer(tcp::acceptor& acceptor, std::function<void(const TakePeer&)> arrived) {
    acceptor.async_wait(tcp::acceptor::wait_read,
                        [&acceptor, arrived = std::move(arrived)](const error_code&) {
                            arrived([&](error_code& error) { return acceptFrom(acceptor, error); });
                        });
}

}  // namespace platform
