#include "platform/RedirectServer.h"

#include "platform/Listening.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http.hpp>
#include <cpprest/asyncrt_utils.h>
#include <cpprest/base_uri.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace platform {

namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using net::ip::tcp;

constexpr std::uint32_t headLimit = 64U * 1024;
constexpr std::uint64_t bodyLimit = std::uint64_t{1024} * 1024;
// What is buffered at a time: the longest head, or a piece of a body.
constexpr std::size_t bufferLimit = std::size_t{2} * headLimit;
// A browser needs a handful.
constexpr std::size_t mostConnections = 128;
constexpr std::chrono::milliseconds pauseAfterFailure{100};
constexpr std::chrono::seconds lingerLimit{2};

struct Place {
    std::string host;
    unsigned short port;
};

/// The URL class takes no port and port 0 for the same.
bool namesPortZero(const utility::string_t& authority) {
    const std::size_t last = authority.find_last_not_of(_XPLATSTR('0'));
    return last + 1 < authority.size() && authority[last] == _XPLATSTR(':');
}

Place placeOf(const utility::string_t& url) {
    const auto require = [](bool met, const char* reason) {
        if (!met) {
            throw std::runtime_error(reason);
        }
    };
    require(web::uri::validate(url), "it is not a URL");
    const web::uri uri(url);
    require(uri.scheme() == _XPLATSTR("http"), "its scheme is not http");
    require(url.find_first_of(_XPLATSTR("?#")) == utility::string_t::npos,
            "it has a query or a fragment");
    require(uri.user_info().empty(), "it names a user");
    require(!uri.host().empty(), "it has no host");
    constexpr int highest = std::numeric_limits<unsigned short>::max();
    const std::size_t authority = uri.scheme().size() + std::size_t{3};
    require(
        uri.port() <= highest &&
            !namesPortZero(url.substr(authority, url.find(_XPLATSTR('/'), authority) - authority)),
        "its port is not within 1 and 65535");
    const int port = uri.is_port_default() ? 80 : uri.port();
    return {utility::conversions::to_utf8string(uri.host()), static_cast<unsigned short>(port)};
}

std::set<net::ip::address> addressesOf(const std::string& host) {
    // Browsers try both, whatever the resolver here says.
    if (host == "localhost") {
        return {net::ip::address_v4::loopback(), net::ip::address_v6::loopback()};
    }
    if (host.front() == '[' && host.back() == ']') {
        error_code error;
        const auto address = net::ip::make_address_v6(host.substr(1, host.size() - 2), error);
        if (!error) {
            return {address};
        }
    }
    if (host.find_first_of("[:]") != std::string::npos) {
        throw std::runtime_error("its host or port is malformed");
    }
    net::io_context context;
    std::set<net::ip::address> addresses;
    for (const auto& entry : tcp::resolver(context).resolve(host, {}, tcp::resolver::flags{})) {
        addresses.insert(entry.endpoint().address());
    }
    return addresses;
}

tcp::acceptor listenOn(net::io_context& context, const tcp::endpoint& endpoint) {
    tcp::acceptor acceptor = openAcceptor(context, endpoint.protocol());
    if (endpoint.protocol() == tcp::v6()) {
        acceptor.set_option(net::ip::v6_only(true));
    }
    acceptor.bind(endpoint);
    acceptor.listen();
    acceptor.non_blocking(true);
    return acceptor;
}

class Connection;
/// The connection from which nothing has come for longest stands first.
using Connections = std::list<Connection*>;

// Each step starts one operation, which owns the connection until it completes and calls the next.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(Connections& all, RedirectHandler& handler, tcp::socket socket)
        : m_all(all), m_handler(handler), m_socket(std::move(socket)) {
        m_parser.header_limit(headLimit);
        m_parser.body_limit(std::numeric_limits<std::uint64_t>::max());  // until the head is judged
    }
    ~Connection() { close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start() { read(); }

    void close() {
        if (m_socket.is_open()) {
            error_code ignored;
            m_socket.close(ignored);
            m_timer.cancel();
            m_all.erase(m_position);
        }
    }

private:
    auto then(void (Connection::*step)(const error_code&)) {
        return [self = shared_from_this(), step](const error_code& error, std::size_t = 0) {
            if (self->m_socket.is_open()) {
                ((*self).*step)(error);
            }
        };
    }

    void read() {
        http::async_read_some(m_socket, m_buffer, m_parser, then(&Connection::received));
    }

    void received(const error_code& error) {
        if (error) {
            return failed(error);
        }
        m_all.splice(m_all.end(), m_all, m_position);
        if (!m_wanted) {
            return judgeHead();
        }
        readOn();
    }

    void readOn() {
        if (m_parser.is_done()) {
            return deliver();
        }
        read();
    }

    void judgeHead() {
        const auto& head = m_parser.get();
        auto refusal = m_handler.checkListenerRequest(std::string(head.method_string()),
                                                      std::string(head.target()));
        if (refusal) {
            return send(std::move(*refusal));
        }
        m_wanted = true;
        if (m_parser.content_length().value_or(0) > bodyLimit) {
            return failed(http::error::body_limit);
        }
        m_parser.body_limit(bodyLimit);
        m_parser.eager(true);
        if (boost::beast::iequals(head[http::field::expect], "100-continue") &&
            head.version() >= 11 && !m_parser.is_done()) {
            m_output = "HTTP/1.1 100 Continue\r\n\r\n";
            net::async_write(m_socket, net::buffer(m_output), then(&Connection::continued));
        } else {
            readOn();
        }
    }

    void continued(const error_code& error) {
        if (error) {
            return failed(error);
        }
        read();
    }

    void deliver() {
        auto& message = m_parser.get();
        send(m_handler.handleListenerRequest(
            {std::string(message.method_string()), std::string(message.target()),
             std::string(message[http::field::content_type]), std::move(message.body())}));
    }

    void failed(const error_code& error) {
        const bool isHttp =
            error.category() == http::make_error_code(http::error::bad_method).category();
        if (m_wanted) {
            const bool ended = !isHttp || error == http::error::partial_message;
            send(m_handler.handleLostBody(error == http::error::body_limit
                                              ? "request body is too large"
                                          : ended ? "request body is incomplete"
                                                  : "request body is malformed"));
        } else if (isHttp && error != http::error::end_of_stream) {
            send(m_handler.handleNoRequest());
        } else {
            close();
        }
    }

    void send(RedirectAnswer answer) {
        http::response<http::empty_body> head(http::int_to_status(answer.status), 11);
        head.set(http::field::content_type, answer.contentType);
        head.content_length(answer.body.size());
        head.keep_alive(false);
        std::ostringstream output;
        output << head.base();
        if (!m_parser.is_header_done() || m_parser.get().method() != http::verb::head) {
            output << answer.body;
        }
        m_output = output.str();
        net::async_write(m_socket, net::buffer(m_output),
                         [self = shared_from_this(), ended = std::move(answer.ended)](
                             const error_code&, std::size_t) { self->sent(ended); });
    }

    void sent(const std::function<void()>& ended) {
        if (m_socket.is_open()) {
            linger();
        }
        if (ended) {
            ended();
        }
    }

    /// Closing while the peer still sends would reset the connection, and could take the answer
    /// from it.
    void linger() {
        error_code ignored;
        m_socket.shutdown(tcp::socket::shutdown_send, ignored);
        m_timer.expires_after(lingerLimit);
        m_timer.async_wait([weak = weak_from_this()](const error_code&) {
            if (const auto self = weak.lock()) {
                self->close();
            }
        });
        discard({});
    }

    void discard(const error_code& error) {
        if (error) {
            return close();
        }
        m_socket.async_read_some(net::buffer(m_unwanted), then(&Connection::discard));
    }

    Connections& m_all;
    RedirectHandler& m_handler;
    tcp::socket m_socket;
    net::steady_timer m_timer{m_socket.get_executor()};
    boost::beast::flat_buffer m_buffer{bufferLimit};
    http::request_parser<http::string_body> m_parser;
    bool m_wanted = false;  // the head was not refused
    std::string m_output;
    std::array<char, 4096> m_unwanted{};
    const Connections::iterator m_position = m_all.insert(m_all.end(), this);
};

}  // namespace

class RedirectServer::Impl {
public:
    Impl(const Place& place, RedirectHandler& handler) : m_handler(handler) {
        listen(place);
        m_thread = std::thread([this] { run(); });
    }

    ~Impl() {
        net::post(m_context, [this] { close(); });
        m_thread.join();
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

private:
    struct Door {
        tcp::acceptor acceptor;
        net::steady_timer pause{acceptor.get_executor()};
    };

    void listen(const Place& place) {
        error_code absent;
        for (const auto& address : addressesOf(place.host)) {
            if (address.is_unspecified()) {
                throw std::runtime_error("its host stands for all addresses of this machine");
            }
            try {
                m_doors.push_back({listenOn(m_context, {address, place.port})});
            } catch (const boost::system::system_error& error) {
                absent = error.code();
                if (absent != boost::system::errc::address_not_available &&
                    absent != boost::system::errc::address_family_not_supported) {
                    throw;
                }
            }
        }
        if (m_doors.empty()) {
            throw boost::system::system_error(absent);
        }
        std::for_each(m_doors.begin(), m_doors.end(), [this](Door& door) { awaitPeer(door); });
    }

    void run() {
        for (;;) {
            try {
                m_context.run();
                return;
            } catch (...) {  // NOLINT(bugprone-empty-catch)
                // A connection that nothing is going on any more for is closed by now.
            }
        }
    }

    void awaitPeer(Door& door) {
        door.acceptor.async_wait(tcp::acceptor::wait_read, [this, &door](const error_code&) {
            if (door.acceptor.is_open()) {
                accept(door);
            }
        });
    }

    void accept(Door& door) {
        error_code error;
        tcp::socket socket = acceptFrom(door.acceptor, error);
        if (isShortage(error)) {
            return relieve(door);
        }
        awaitPeer(door);
        if (!error) {
            if (m_connections.size() >= mostConnections) {
                m_connections.front()->close();
            }
            std::make_shared<Connection>(m_connections, m_handler, std::move(socket))->start();
        }
    }

    /// Other errors are those of a peer that is gone again.
    static bool isShortage(const error_code& error) {
        using namespace boost::system::errc;
        return error == too_many_files_open || error == too_many_files_open_in_system ||
               error == no_buffer_space || error == not_enough_memory;
    }

    /// The peer still waits to be accepted, so that trying again at once would spin.
    void relieve(Door& door) {
        if (!m_connections.empty()) {
            m_connections.front()->close();
            return awaitPeer(door);
        }
        door.pause.expires_after(pauseAfterFailure);
        door.pause.async_wait([this, &door](const error_code&) {
            if (door.acceptor.is_open()) {
                awaitPeer(door);
            }
        });
    }

    void close() {
        // What is queued already finds its socket closed.
        for (Door& door : m_doors) {
            error_code ignored;
            door.acceptor.close(ignored);
            door.pause.cancel();
        }
        while (!m_connections.empty()) {
            m_connections.front()->close();
        }
    }

    RedirectHandler& m_handler;
    Connections m_connections;
    net::io_context m_context{1};
    std::list<Door> m_doors;
    std::thread m_thread;
};

RedirectServer::RedirectServer(const utility::string_t& url, RedirectHandler& handler) try
    : m_impl(std::make_unique<Impl>(placeOf(url), handler)) {
} catch (const std::exception& error) {
    throw std::runtime_error("cannot listen on " + utility::conversions::to_utf8string(url) + ": " +
                             error.what());
}

RedirectServer::~RedirectServer() = default;

}  // namespace platform
