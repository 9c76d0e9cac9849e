#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <string>

namespace test {

/// A port of 127.0.0.1, taken while this lives.
class TakenPort {
public:
    TakenPort() : m_acceptor(m_context, {boost::asio::ip::address_v4::loopback(), 0}) {}

    std::string url(const std::string& path = "/callback") const {
        return "http://127.0.0.1:" + std::to_string(m_acceptor.local_endpoint().port()) + path;
    }

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::acceptor m_acceptor;
};

/// A redirect URL on which nobody listens.
inline std::string freeRedirectUrl() {
    return TakenPort().url();
}

}  // namespace test
