#pragma once

#include "platform/RedirectServer.h"

#include <boost/asio/ip/tcp.hpp>

#include <cstddef>
#include <list>

namespace platform {

/// The peers of a redirect server, all served on one thread. Together they get a fixed number of
/// connections and of bytes: whoever has been silent for longest makes room for another.
class RedirectConnections {
public:
    explicit RedirectConnections(RedirectHandler& handler) : m_handler(handler) {}
    ~RedirectConnections() = default;
    RedirectConnections(const RedirectConnections&) = delete;
    RedirectConnections& operator=(const RedirectConnections&) = delete;

    /// Answers the request that comes there.
    void serve(boost::asio::ip::tcp::socket socket);
    /// False when there is none.
    bool closeLongestSilent();
    void closeAll();

private:
    class Connection;
    using Order = std::list<Connection*>;

    void keepWithinBudget();

    RedirectHandler& m_handler;
    Order m_all;  // the longest silent one stands first
    std::size_t m_held = 0;
};

}  // namespace platform
