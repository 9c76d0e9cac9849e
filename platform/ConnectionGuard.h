#pragma once

#include <cpprest/http_client.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

/// Lets a busy connection of an HTTP client be closed. Where the HTTP library closes it on the
/// thread that cancels, while another may be reading from it, the process can crash: with this one
/// comes after the other. And bounds what a peer can make that library keep in memory, which reads
/// a head or a chunk to its end. And makes a request fail before anything of it leaves, where it
/// would go over a kept connection that the peer has closed. A copy guards the same connections.
///
/// Not every connection can be had before it is open: those to a further address of a host whose
/// first one does not answer, and any but the first tunnel through a proxy, stay as the library
/// makes them.
///
/// On Windows WinHTTP owns the connections: it closes them with their requests, and limits heads.
/// Bodies are counted by the request's progress handler.
class ConnectionGuard {
public:
    /// For the client of `origin` that is made of `config` afterwards. Its connections together may
    /// receive `limit` bytes from one begin() to the next, heads and TLS included; the one that
    /// exceeds them is closed.
    ConnectionGuard(const web::uri& origin, web::http::client::http_client_config& config,
                    std::uint64_t limit);

    /// False for tunnels through a proxy, and on Windows: nobody can tell whether the peer closed
    /// such a connection.
    bool noticesClosedOnes() const;

    /// Calls `cancel` when nothing else happens on these connections: before it returns or soon
    /// afterwards, on any thread.
    void close(std::function<void()> cancel) const;

    /// What was received so far no longer counts: a request begins.
    void begin() const;
    /// Whether the limit was exceeded since; false where nobody counts.
    bool isFlooded() const;

private:
    struct Impl;
    std::shared_ptr<const Impl> m_impl;
};

}  // namespace platform
