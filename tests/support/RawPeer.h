#pragma once

#include "tests/support/Eventually.h"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

namespace test {

/// A connection on which a test sends any bytes. Sending stops silently if the other side accepts
/// no more.
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

    /// Receives until the other side ends the connection; the text says so if that is a reset, or
    /// does not happen in time.
    std::string receive() { return receiveUntil(""); }
    std::string receiveUntil(const std::string& end) {
        std::string bytes;
        boost::system::error_code error;
        while (!error && (end.empty() || bytes.find(end) == std::string::npos)) {
            if (!hasInput(patience)) {
                return bytes + "and then nothing";
            }
            std::array<char, 4096> piece{};
            const auto size = m_socket.read_some(boost::asio::buffer(piece), error);
            bytes.append(piece.data(), size);
        }
        return error == boost::asio::error::eof ? bytes : bytes + (error ? error.message() : "");
    }

    /// Whether there is data to receive, or the end of the connection, now or within that time.
    bool hasInput(std::chrono::milliseconds limit = {}) {
        bool found = false;
        m_socket.async_wait(boost::asio::socket_base::wait_read,
                            [&found](const boost::system::error_code& error) {
                                found = error != boost::asio::error::operation_aborted;
                            });
        m_context.restart();
        m_context.poll();  // running for no time does not do that
        m_context.run_for(limit);
        if (!found) {
            m_socket.cancel();
            m_context.restart();
            m_context.run();
        }
        return found;
    }

    boost::asio::ip::tcp::socket& socket() { return m_socket; }

    std::string exchange(const std::string& bytes) {
        send(bytes);
        return receive();
    }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::socket m_socket{m_context};
};

}  // namespace test
