#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <string>

namespace test {

/// A connection on which a test sends what it wants, byte by byte. What the other side does to the
/// connection is no error here: it ends what is sent or received.
class RawPeer {
public:
    explicit RawPeer(unsigned short port, const boost::asio::ip::address& address =
                                              boost::asio::ip::address_v4::loopback()) {
        m_socket.connect({address, port});
    }

    void send(const std::string& bytes) {
        boost::asio::write(m_socket, boost::asio::buffer(bytes), m_ignored);
    }
    void finish() { m_socket.shutdown(boost::asio::ip::tcp::socket::shutdown_send); }

    std::string receive() {
        std::string bytes;
        boost::asio::read(m_socket, boost::asio::dynamic_buffer(bytes), m_ignored);
        return bytes;
    }
    std::string receiveUntil(const std::string& end) {
        std::string bytes;
        boost::asio::read_until(m_socket, boost::asio::dynamic_buffer(bytes), end, m_ignored);
        return bytes;
    }

    std::string exchange(const std::string& bytes) {
        send(bytes);
        return receive();
    }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::socket m_socket{m_context};
    boost::system::error_code m_ignored;
};

}  // namespace test
