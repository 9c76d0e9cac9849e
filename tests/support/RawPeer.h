#pragma once

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <poll.h>

#include <string>

namespace test {

/// A connection on which a test sends what it wants, byte by byte. Sending ends silently when the
/// other side takes no more.
class RawPeer {
public:
    explicit RawPeer(unsigned short port, const boost::asio::ip::address& address =
                                              boost::asio::ip::address_v4::loopback()) {
        m_socket.connect({address, port});
    }

    void send(const std::string& bytes) {
        boost::system::error_code ignored;
        boost::asio::write(m_socket, boost::asio::buffer(bytes), ignored);
    }
    void finish() { m_socket.shutdown(boost::asio::ip::tcp::socket::shutdown_send); }

    /// What comes until the other side ends the connection, and whether it does that by a reset.
    std::string receive() {
        std::string bytes;
        boost::system::error_code error;
        boost::asio::read(m_socket, boost::asio::dynamic_buffer(bytes), error);
        return error == boost::asio::error::eof ? bytes : bytes + error.message();
    }
    std::string receiveUntil(const std::string& end) {
        std::string bytes;
        boost::asio::read_until(m_socket, boost::asio::dynamic_buffer(bytes), end);
        return bytes;
    }

    /// Whether poll() tells of this event now.
    bool has(short event) {
        pollfd peer{m_socket.native_handle(), event, 0};
        return ::poll(&peer, 1, 0) == 1;
    }

    std::string exchange(const std::string& bytes) {
        send(bytes);
        return receive();
    }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::socket m_socket{m_context};
};

}  // namespace test
