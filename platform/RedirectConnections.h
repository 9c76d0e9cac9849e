#pragma once

#include "platform/RedirectServer.h"

#include <boost/asio/ip/tcp.hpp>

#include <cstddef>
#include <list>

namespace platform {

/// The peers of a redirect server, all served on one thread. Together they share a fixed number of
/// connections and bytes: if a limit is reached, the longest silent peer is closed.
class RedirectConnections {
public:
    explicit RedirectConnections(RedirectHandler& handler) : m_handler(handler) {}
    ~RedirectConnections() = default;
    RedirectConnections(const RedirectConnections&) = delete;
    RedirectConnections& operator=(const RedirectConnections&) = delete;

    /// Answers the request on that connection.
    void serve(boost::asio::ip::tcp::socket socket);
    /// Returns false if there is none.
    bool closeLongestSilent();
    void closeAll();

private:
    class Connection;
    using Order = std::list<Connection*>;

    void keepWithinBudget();

    RedirectHandler& m_handler;
    Order m_all;  // the longest silent one comes first
    std::size_t m_held = 0;
};

}  // namespace platform
