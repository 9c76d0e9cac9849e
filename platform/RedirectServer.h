#pragma once

#include <cpprest/details/basic_types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// An HTTP request as received: only the framing of the body is decoded.
struct RedirectRequest {
    std::string method;
    std::string target;
    std::string contentType;  // empty if there is none
    std::string body;
};

struct RedirectAnswer {
    unsigned status;
    std::string contentType;
    std::string body;
    /// Called once, when the answer has been sent or can no longer be sent. May be empty.
    std::function<void()> ended;
};

/// Decides the answers of a RedirectServer. All calls, including `ended` of an answer, come on the
/// server's thread, one at a time, so they must not wait for long or destroy the server. An
/// exception only closes the peer's connection.
class RedirectHandler {
public:
    virtual ~RedirectHandler() = default;

    /// If this returns an answer, the request is refused after its head, and its body is not read.
    virtual std::optional<RedirectAnswer> judgeHead(const std::string& method,
                                                    const std::string& target) = 0;
    virtual RedirectAnswer answer(const RedirectRequest& request) = 0;
    /// The body of a request that was not refused is too large, malformed, or does not arrive.
    virtual RedirectAnswer answerLostBody(const std::string& reason) = 0;
    /// What the peer sent is not an HTTP request, or has a head that is too long.
    virtual RedirectAnswer answerNoRequest() = 0;
};

/// Serves plain HTTP during a sign-in, on its own thread. It accepts every request that reaches its
/// host and port, whatever its method, path and Host header, and a slow request does not delay
/// others. Each answer ends its connection. If many peers wait, or send much, the longest silent
/// ones are closed.
class RedirectServer {
public:
    /// Listens on every address of this machine that the host of `url` resolves to (both loopback
    /// addresses for localhost), but never on all addresses at once. Other names are looked up for
    /// at most 5 s. The path of `url` is ignored. `handler` must outlive the server.
    ///
    /// Throws std::runtime_error, with a text for people, if `url` is not an http URL with a host
    /// and optionally a port and a path, or if one of the addresses is taken or unavailable.
    RedirectServer(const utility::string_t& url, RedirectHandler& handler);
    /// Closes all connections, whatever their state. When it returns, the port is free and the
    /// handler is no longer called.
    ~RedirectServer();
    RedirectServer(const RedirectServer&) = delete;
    RedirectServer& operator=(const RedirectServer&) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace platform
