#include "testing/detail/HttpServer.h"

#include "testing/detail/Inheritance.h"

#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http.hpp>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>

namespace auth::testing::detail {
namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using net::ip::tcp;

using PlainStream = tcp::socket;
using TlsStream = net::ssl::stream<tcp::socket>;

constexpr auto* headEnd = "\r\n\r\n";
constexpr std::uint32_t headLimit = 1U << 20U;
constexpr std::uint64_t bodyLimit = 1U << 28U;
constexpr std::uint64_t paddingBlock = 1U << 16U;

RecordedRequest recorded(const http::request<http::string_body>& message) {
    RecordedRequest request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    request.version = "HTTP/1." + std::to_string(message.version() % 10);
    for (const auto& field : message) {
        request.headers.emplace_back(field.name_string(), field.value());
    }
    request.body = message.body();
    return request;
}

// Each step starts one operation, which owns the connection until it completes and then starts the
// next one.
template <class Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
public:
    template <class... Args>
    Connection(ServerEvents& events, unsigned ordinal, Args&&... stream)
        : m_events(events), m_ordinal(ordinal), m_stream(std::forward<Args>(stream)...) {}

    void start() {
        if constexpr (tls) {
            m_stream.async_handshake(net::ssl::stream_base::server, then(&Connection::readHead));
        } else {
            readHead();
        }
    }

private:
    using Step = void (Connection::*)();
    static constexpr bool tls = std::is_same_v<Stream, TlsStream>;

    auto then(Step step) {
        return [self = this->shared_from_this(), step](const error_code& error, std::size_t = 0) {
            if (error) {
                self->close();
            } else {
                ((*self).*step)();
            }
        };
    }

    void readHead() {
        net::async_read_until(m_stream, net::dynamic_buffer(m_input, headLimit), headEnd,
                              then(&Connection::takeHead));
    }

    void takeHead() {
        m_head = m_input.substr(0, m_input.find(headEnd) + 4);
        m_parser.emplace();
        m_parser->header_limit(headLimit);
        m_parser->body_limit(bodyLimit);
        m_parser->eager(true);
        parse();
    }

    void parse() {
        error_code error;
        m_input.erase(0, m_parser->put(net::buffer(m_input), error));
        if (m_parser->is_done()) {
            deliver(true);
        } else if (error && error != http::error::need_more) {
            deliver(false);
        } else {
            readMore(&Connection::parse);
        }
    }

    void readMore(Step step) {
        net::async_read(m_stream, net::dynamic_buffer(m_input), net::transfer_at_least(1),
                        then(step));
    }

    void deliver(bool wellFormed) {
        auto request = recorded(m_parser->get());
        request.head = std::move(m_head);
        request.connection = m_ordinal;
        m_events.received(
            {std::move(request), wellFormed, wellFormed && m_parser->keep_alive()},
            [self = this->shared_from_this()](Reply reply) { self->send(std::move(reply)); });
    }

    void send(Reply reply) {
        m_reply = std::move(reply);
        write(std::move(m_reply.head), m_reply.headPace, &Connection::sendPadding);
    }

    void sendPadding() {
        const auto size = std::min(m_reply.padding, paddingBlock);
        if (size == 0) {
            return sendBody();
        }
        m_reply.padding -= size;
        write(framed(std::string(size, ' ')), m_reply.bodyPace, &Connection::sendPadding);
    }

    void sendBody() {
        const std::string_view end = m_reply.chunked && m_reply.lastChunk ? "0\r\n\r\n" : "";
        write(framed(std::move(m_reply.body)).append(end), m_reply.bodyPace, &Connection::finish);
    }

    std::string framed(std::string bytes) const {
        if (!m_reply.chunked || bytes.empty()) {
            return bytes;
        }
        std::ostringstream chunk;
        chunk << std::hex << bytes.size() << "\r\n" << bytes << "\r\n";
        return chunk.str();
    }

    void write(std::string bytes, std::chrono::milliseconds pace, Step next) {
        m_output = std::move(bytes);
        m_written = 0;
        m_pace = pace;
        m_next = next;
        writeMore();
    }

    void writeMore() {
        if (m_written == m_output.size()) {
            return (this->*m_next)();
        }
        const bool paced = m_pace.count() > 0;
        const auto piece = net::buffer(net::buffer(m_output) + m_written, paced ? 1 : SIZE_MAX);
        m_written += piece.size();
        net::async_write(m_stream, piece,
                         then(paced ? &Connection::pause : &Connection::writeMore));
    }

    void pause() {
        m_timer.expires_after(m_pace);
        m_timer.async_wait(then(&Connection::writeMore));
    }

    void finish() {
        switch (m_reply.ending) {
            case Ending::KeepAlive:
                return readHead();
            case Ending::Close:
                return closeOrderly();
            case Ending::Reset: {
                error_code ignored;
                m_stream.lowest_layer().set_option(net::socket_base::linger(true, 0), ignored);
                return close();
            }
            case Ending::Silence:
                m_input.clear();
                return readMore(&Connection::finish);
        }
    }

    // With TLS the end of the session is announced, but the peer's answer to that is not awaited: a
    // client that keeps the connection for later never sends one.
    void closeOrderly() {
        if constexpr (tls) {
            m_stream.async_shutdown(then(&Connection::close));
            net::post(m_stream.get_executor(),
                      [self = this->shared_from_this()] { self->close(); });
        } else {
            close();
        }
    }

    void close() {
        if (m_stream.lowest_layer().is_open()) {
            error_code ignored;
            m_stream.lowest_layer().close(ignored);
            m_timer.cancel();
            m_events.closed(m_ordinal);
        }
    }

    ServerEvents& m_events;
    const unsigned m_ordinal;
    Stream m_stream;
    net::steady_timer m_timer{m_stream.get_executor()};
    std::string m_input;
    std::optional<http::request_parser<http::string_body>> m_parser;
    std::string m_head;
    Reply m_reply;
    std::string m_output;
    std::size_t m_written = 0;
    std::chrono::milliseconds m_pace{0};
    Step m_next = nullptr;
};

}  // namespace

HttpServer::HttpServer(ServerEvents& events, std::optional<net::ssl::context> tls)
    : m_events(events),
      m_tls(std::move(tls)),
      m_acceptor(m_io, {net::ip::address_v4::loopback(), 0}),
      m_port(m_acceptor.local_endpoint().port()) {
    keepFromChildren(m_acceptor.native_handle());
}

HttpServer::~HttpServer() {
    stop();
}

void HttpServer::start() {
    accept();
    m_thread = std::thread([this] { m_io.run(); });
}

void HttpServer::stop() {
    m_io.stop();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void HttpServer::post(std::function<void()> task) {
    net::post(m_io, std::move(task));
}

void HttpServer::accept() {
    m_acceptor.async_accept([this](const error_code& error, tcp::socket socket) {
        if (!error) {
            serve(std::move(socket));
        }
        accept();
    });
}

void HttpServer::serve(tcp::socket socket) {
    keepFromChildren(socket.native_handle());
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    const auto ordinal = ++m_connections;
    m_events.opened(ordinal);
    if (m_tls) {
        std::make_shared<Connection<TlsStream>>(m_events, ordinal, std::move(socket), *m_tls)
            ->start();
    } else {
        std::make_shared<Connection<PlainStream>>(m_events, ordinal, std::move(socket))->start();
    }
}

}  // namespace auth::testing::detail
