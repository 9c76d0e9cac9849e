#pragma once

#include <cpprest/details/basic_types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace platform {

/// An HTTP request, as it came: nothing is decoded but the framing of the body.
struct RedirectRequest {
    std::string method;
    std::string target;
    std::string contentType;  // empty without one
    std::string body;
};

struct RedirectAnswer {
    unsigned status;
    std::string contentType;
    std::string body;
    /// Called once, when the answer is sent or can no longer be sent. May be empty.
    std::function<void()> ended;
};

/// Decides what a RedirectServer answers. Everything, `ended` of its answers included, is called on
/// the server's thread, one call at a time, so that it must not wait for long nor destroy the
/// server. An exception costs the peer its connection, and nothing else.
class RedirectHandler {
public:
    virtual ~RedirectHandler() = default;

    /// An answer refuses the request at its head; its body is not read then.
    virtual std::optional<RedirectAnswer> judgeHead(const std::string& method,
                                                    const std::string& target) = 0;
    virtual RedirectAnswer answer(const RedirectRequest& request) = 0;
    /// The body of a request that was not refused is too large, malformed, or not coming.
    virtual RedirectAnswer answerLostBody(const std::string& reason) = 0;
    /// What came is no HTTP request, or has a head that is too long.
    virtual RedirectAnswer answerNoRequest() = 0;
};

/// Serves plain HTTP for the length of a sign-in, with a thread of its own. It hears every request
/// that reaches its host and port, whatever its method, path and Host header; none waits for
/// another that is slow. Each answer ends its connection. Many peers that wait, or send much, make
/// it let go of those that have been silent for longest.
class RedirectServer {
public:
    /// Listens on every address of this machine that the host of `url` resolves to, both loopback
    /// addresses for localhost, but never on all addresses at once. Another name is looked up for 5
    /// s at most. The path of `url` does not matter. `handler` has to outlive the server.
    ///
    /// Throws std::runtime_error, with a text for people, when `url` is not http with a host and
    /// perhaps a port and a path, or when one of the addresses is taken or not to be had.
    RedirectServer(const utility::string_t& url, RedirectHandler& handler);
    /// Closes all connections, whatever state they are in. The port is free when it returns, and
    /// the handler is not called any more.
    ~RedirectServer();
    RedirectServer(const RedirectServer&) = delete;
    RedirectServer& operator=(const RedirectServer&) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace platform
