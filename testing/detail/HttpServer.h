#pragma once

#include "testing/RecordedRequest.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace auth::testing::detail {

enum class Ending {
    KeepAlive,
    Close,
    Reset,    // the peer sees a connection reset instead of an orderly end
    Silence,  // nothing more is sent until the peer closes
};

/// The bytes to send, exactly as the provider wants them: nothing is added or checked.
struct Reply {
    std::string head;
    std::uint64_t padding = 0;  // this many blanks before the body, generated while they are sent
    std::string body;
    bool chunked = false;
    bool lastChunk = true;
    std::chrono::milliseconds headPace{0};  // for each byte
    std::chrono::milliseconds bodyPace{0};
    Ending ending = Ending::Close;
};

using Answer = std::function<void(Reply)>;

struct Arrival {
    RecordedRequest request;
    bool wellFormed = false;
    bool keepAlive = false;
};

/// Receives the server's events. Called on its thread; each `answer` must be called on that thread,
/// too, at any later time and at most once.
class ServerEvents {
public:
    virtual ~ServerEvents() = default;
    virtual void opened(unsigned connection) = 0;
    virtual void received(Arrival arrival, Answer answer) = 0;
    virtual void closed(unsigned connection) = 0;
};

/// Serves http, or https with `tls`, on the loopback interface. One thread runs all connections, so
/// their state needs no locks, and stopping does not wait for any of them.
class HttpServer {
public:
    /// Listens, but accepts nothing before start(). `events` must live until stop().
    HttpServer(ServerEvents& events, std::optional<boost::asio::ssl::context> tls);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    unsigned short port() const { return m_port; }
    void start();
    /// No event follows. Connections are closed by the destructor.
    void stop();
    /// Runs `task` on the server's thread.
    void post(std::function<void()> task);

private:
    void accept();
    void serve(boost::asio::ip::tcp::socket socket);

    ServerEvents& m_events;
    std::optional<boost::asio::ssl::context> m_tls;
    boost::asio::io_context m_io{1};
    boost::asio::ip::tcp::acceptor m_acceptor;
    unsigned short m_port;
    unsigned m_connections = 0;
    std::thread m_thread;
};

}  // namespace auth::testing::detail
