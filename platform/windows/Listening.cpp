#include "platform/Listening.h"

#include <boost/asio/windows/overlapped_ptr.hpp>
#include <mswsock.h>
#include <winsock2.h>

#include <array>
#include <memory>
#include <utility>

// Asio's sockets are inherited, and if that is changed afterwards, a program can be started in
// between. So they are created here.

namespace platform {

namespace net = boost::asio;
using boost::system::error_code;
using net::ip::tcp;

namespace {

error_code lastError() {
    return {::WSAGetLastError(), boost::system::system_category()};
}

template <class Socket>
void open(Socket& socket, const tcp& protocol, error_code& error) {
    const SOCKET handle =
        ::WSASocketW(protocol.family(), protocol.type(), protocol.protocol(), nullptr, 0,
                     WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (handle == INVALID_SOCKET) {
        error = lastError();
        return;
    }
    socket.assign(protocol, handle, error);
    if (error) {
        ::closesocket(handle);
    }
}

/// A connection that is awaited.
struct Arrival {
    explicit Arrival(tcp::acceptor& acceptor) : socket(acceptor.get_executor()) {}

    static constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;  // as the system requires
    std::array<char, std::size_t{2} * addressSize> addresses{};
    tcp::socket socket;
};

tcp::socket take(const tcp::acceptor::native_handle_type door, Arrival& arrival,
                 error_code& error) {
    // Without this, the connection has no address and cannot be shut down.
    if (!error && ::setsockopt(arrival.socket.native_handle(), SOL_SOCKET, SO_UPDATE_ACCEPT_CONTEXT,
                               reinterpret_cast<const char*>(&door), sizeof(door)) != 0) {
        error = lastError();
    }
    return std::move(arrival.socket);
}

}  // namespace

tcp::acceptor openAcceptor(net::io_context& context, const tcp& protocol) {
    tcp::acceptor acceptor(context);
    error_code error;
    open(acceptor, protocol, error);
    // What other systems call reusing an address would share it with everybody here.
    const BOOL alone = TRUE;
    if (!error && ::setsockopt(acceptor.native_handle(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                               reinterpret_cast<const char*>(&alone), sizeof(alone)) != 0) {
        error = lastError();
    }
    if (error) {
        throw boost::system::system_error(error);
    }
    return acceptor;
}

/// A listening socket never becomes ready here: an accept has to be started for each connection.
void awaitPeer(tcp::acceptor& acceptor, std::function<void(const TakePeer&)> arrived) {
    const auto arrival = std::make_shared<Arrival>(acceptor);
    net::windows::overlapped_ptr operation(
        acceptor.get_executor(), [&acceptor, arrival, arrived = std::move(arrived)](
                                     const error_code& outcome, std::size_t /*size*/) {
            arrived([&](error_code& error) {
                error = outcome;
                return take(acceptor.native_handle(), *arrival, error);
            });
        });
    error_code error;
    const tcp::endpoint here = acceptor.local_endpoint(error);
    if (!error) {
        open(arrival->socket, here.protocol(), error);
    }
    DWORD received = 0;
    if (!error &&
        ::AcceptEx(acceptor.native_handle(), arrival->socket.native_handle(),
                   arrival->addresses.data(), 0, Arrival::addressSize, Arrival::addressSize,
                   &received, operation.get()) == FALSE &&
        ::WSAGetLastError() != ERROR_IO_PENDING) {
        error = lastError();
    }
    if (error) {
        operation.complete(error, 0);
    } else {
        operation.release();
    }
}

}  // namespace platform
