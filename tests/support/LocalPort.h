#pragma once

#include "tests/support/Common.h"

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/system_error.hpp>

namespace test {

/// Occupies a port of 127.0.0.1.
class TakenPort {
public:
    /// Throws boost::system::system_error if the port is taken. 0 means any port.
    explicit TakenPort(unsigned short port = 0)
        : m_acceptor(m_context, {boost::asio::ip::address_v4::loopback(), port}) {}

    std::string url(const std::string& path = "/callback") const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + path;
    }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::acceptor m_acceptor;
};

/// A redirect URL on which nobody listens. Its port is outside the range that the system usually
/// chooses from: there a connection of another test could take it before the listener does.
inline std::string freeRedirectUrl(const std::string& path = "/callback") {
    constexpr unsigned first = 10'000;
    constexpr unsigned number = 20'000;
    for (;;) {
        try {
            const auto port = first + std::random_device()() % number;
            return TakenPort(static_cast<unsigned short>(port)).url(path);
        } catch (const boost::system::system_error& error) {
            // Windows reports the second error for a port that it reserves for one socket.
            if (error.code() != boost::asio::error::address_in_use &&
                error.code() != boost::asio::error::access_denied) {
                throw;
            }
        }
    }
}

}  // namespace test
