#pragma once

#include <cpprest/http_client.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

/// Has three purposes. It closes a busy connection of an HTTP client safely: the HTTP library would
/// close it on the cancelling thread while another thread may be reading from it, which can crash
/// the process; here the closing waits for the reading. It limits how much a peer can make that
/// library keep in memory, since the library reads a head or a chunk to its end. And it makes a
/// request fail before any of it is sent if it would use a kept connection that the peer has
/// closed. A copy guards the same connections.
///
/// Some connections cannot be guarded before they are open, and stay as the library makes them:
/// connections to another address of a host whose first address does not answer, and all tunnels
/// through a proxy but the first.
///
/// On Windows WinHTTP owns the connections: it closes them with their requests, and limits heads.
/// Bodies are counted by the request's progress handler.
class ConnectionGuard {
public:
    /// For the client of `origin` that is created with `config` afterwards. All its connections
    /// together may receive `limit` bytes from one begin() to the next, including heads and TLS;
    /// the connection that exceeds the limit is closed.
    ConnectionGuard(const web::uri& origin, web::http::client::http_client_config& config,
                    std::uint64_t limit);

    /// Whether it is known if the peer has closed such a connection. False for tunnels through a
    /// proxy, and on Windows.
    bool noticesClosedOnes() const;

    /// Calls `cancel` while nothing else happens on these connections: before it returns or soon
    /// afterwards, on any thread.
    void close(std::function<void()> cancel) const;

    /// A request begins: the bytes received so far no longer count.
    void begin() const;
    /// Whether the limit has been exceeded since; false where bytes are not counted.
    bool isFlooded() const;

private:
    struct Impl;
    std::shared_ptr<const Impl> m_impl;
};

}  // namespace platform
