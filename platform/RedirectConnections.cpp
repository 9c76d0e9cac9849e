#include "platform/RedirectConnections.h"

#include "platform/RedirectParser.h"

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/write.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace platform {

namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using net::ip::tcp;

constexpr std::size_t headLimit = std::size_t{64} * 1024;
constexpr std::uint64_t bodyLimit = std::uint64_t{256} * 1024;
// The limit for chunk headers and trailers. A browser sends none.
constexpr std::size_t framingLimit = std::size_t{16} * 1024;
// The number of bytes read at a time.
constexpr std::size_t pieceSize = 4096;
// A browser needs only a few.
constexpr std::size_t mostConnections = 128;
constexpr std::size_t budget = std::size_t{4} * 1024 * 1024;
// A waiting peer needs one piece and a little more.
constexpr std::size_t nextToNothing = 2 * pieceSize;
static_assert(mostConnections * nextToNothing + 4 * (headLimit + bodyLimit) < budget,
              "the budget is for one who sends at the limits while all others wait");
constexpr std::chrono::seconds lingerLimit{2};

bool isHttp(const error_code& error) {
    return error.category() == http::make_error_code(http::error::bad_method).category();
}

const char* lossOfBody(const error_code& error) {
    if (error == http::error::body_limit) {
        return "request body is too large";
    }
    return isHttp(error) ? "request body is malformed" : "request body is incomplete";
}

}  // namespace

// Each step starts one operation, which owns the connection until it completes and then starts the
// next one.
class RedirectConnections::Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(RedirectConnections& all, tcp::socket socket)
        : m_all(all), m_socket(std::move(socket)) {}
    ~Connection() { close(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start() { read(); }

    bool holdsMuch() const { return m_held > nextToNothing; }

    void close() {
        if (m_socket.is_open()) {
            error_code ignored;
            m_socket.close(ignored);
            m_timer.cancel();
            m_all.m_all.erase(m_position);
            m_all.m_held -= std::exchange(m_held, 0);
        }
    }

private:
    auto then(void (Connection::*step)(const error_code&, std::size_t)) {
        return [self = shared_from_this(), step](const error_code& error, std::size_t size) {
            if (self->m_socket.is_open()) {
                ((*self).*step)(error, size);
            }
        };
    }

    void account() {
        const std::size_t before =
            std::exchange(m_held, m_buffer.capacity() + m_parser.held() + m_output.capacity());
        m_all.m_held = m_all.m_held - before + m_held;
        m_all.keepWithinBudget();
    }

    net::mutable_buffer prepare(std::size_t size) {
        const auto piece = m_buffer.prepare(size);
        account();
        return piece;
    }

    /// The head's bytes are counted as they arrive, so the peer's segmentation makes no difference,
    /// and no byte of the body is counted with them.
    void read() {
        const std::size_t size =
            m_parser.is_header_done() ? pieceSize : std::min(pieceSize, headLimit - m_received);
        m_socket.async_read_some(prepare(size), then(&Connection::received));
    }

    void received(const error_code& error, std::size_t size) {
        m_all.m_all.splice(m_all.m_all.end(), m_all.m_all, m_position);
        m_received += size;
        m_buffer.commit(size);
        if (m_parser.is_header_done()) {
            return error ? loseBody(error) : parseBody();
        }
        if (error) {
            return breakOff(error);
        }
        parseHead();
    }

    void breakOff(const error_code& error) {
        if (error == net::error::eof && m_received > 0) {
            return refuse();
        }
        close();
    }

    error_code parse() {
        error_code error;
        m_buffer.consume(m_parser.put(m_buffer.cdata(), error));
        return error;
    }

    void parseHead() {
        const error_code error = parse();
        if (!error) {
            return judgeHead();
        }
        if (error != http::error::need_more || m_received == headLimit) {
            return refuse();
        }
        read();
    }

    void judgeHead() {
        const RedirectRequest& request = m_parser.request();
        m_isHead = request.method == "HEAD";
        if (auto refusal = m_all.m_handler.judgeHead(request.method, request.target)) {
            return send(std::move(*refusal));
        }
        if (m_parser.content_length().value_or(0) > bodyLimit) {
            return loseBody(http::error::body_limit);
        }
        m_parser.body_limit(bodyLimit);
        m_parser.eager(true);
        m_received = m_buffer.size();
        m_buffer.shrink_to_fit();
        if (m_parser.expectsContinue() && !m_parser.is_done()) {
            m_output = "HTTP/1.1 100 Continue\r\n\r\n";
            net::async_write(m_socket, net::buffer(m_output), then(&Connection::continued));
        } else {
            parseBody();
        }
    }

    void continued(const error_code& error, std::size_t /*size*/) {
        if (error) {
            return loseBody(error);
        }
        parseBody();
    }

    void parseBody() {
        if (!m_parser.is_done()) {
            const error_code error = parse();
            if (error && error != http::error::need_more) {
                return loseBody(error);
            }
        }
        if (m_received - m_parser.request().body.size() > framingLimit) {
            return loseBody(http::error::bad_chunk_extension);
        }
        if (m_parser.is_done()) {
            return send(m_all.m_handler.answer(m_parser.take()));
        }
        read();
    }

    void loseBody(const error_code& error) {
        send(m_all.m_handler.answerLostBody(lossOfBody(error)));
    }

    void refuse() { send(m_all.m_handler.answerNoRequest()); }

    void send(RedirectAnswer answer) {
        http::response<http::empty_body> head(http::int_to_status(answer.status), 11);
        head.set(http::field::content_type, answer.contentType);
        head.content_length(answer.body.size());
        head.keep_alive(false);
        std::ostringstream output;
        output << head.base();
        if (!m_isHead) {
            output << answer.body;
        }
        m_output = output.str();
        m_parser.take();
        m_buffer.clear();
        m_buffer.shrink_to_fit();
        account();
        net::async_write(m_socket, net::buffer(m_output),
                         [self = shared_from_this(), ended = std::move(answer.ended)](
                             const error_code&, std::size_t) { self->sent(ended); });
    }

    void sent(const std::function<void()>& ended) {
        // First of all, so that no later failure keeps the outcome from its reader.
        if (ended) {
            ended();
        }
        if (m_socket.is_open()) {
            linger();
        }
    }

    /// Closing while the peer still sends would reset the connection, and the peer could lose the
    /// answer.
    void linger() {
        error_code ignored;
        m_socket.shutdown(tcp::socket::shutdown_send, ignored);
        m_timer.expires_after(lingerLimit);
        m_timer.async_wait([weak = weak_from_this()](const error_code&) {
            if (const auto self = weak.lock()) {
                self->close();
            }
        });
        discard({}, 0);
    }

    void discard(const error_code& error, std::size_t /*size*/) {
        if (error) {
            return close();
        }
        m_socket.async_read_some(prepare(pieceSize), then(&Connection::discard));
    }

    RedirectConnections& m_all;
    tcp::socket m_socket;
    net::steady_timer m_timer{m_socket.get_executor()};
    boost::beast::flat_buffer m_buffer;
    RedirectParser m_parser;
    std::size_t m_received = 0;  // of the head, then of the rest
    std::size_t m_held = 0;
    bool m_isHead = false;
    std::string m_output;
    const Order::iterator m_position = m_all.m_all.insert(m_all.m_all.end(), this);
};

void RedirectConnections::serve(tcp::socket socket) {
    if (m_all.size() >= mostConnections) {
        closeLongestSilent();
    }
    std::make_shared<Connection>(*this, std::move(socket))->start();
}

bool RedirectConnections::closeLongestSilent() {
    if (m_all.empty()) {
        return false;
    }
    m_all.front()->close();
    return true;
}

void RedirectConnections::closeAll() {
    while (closeLongestSilent()) {
    }
}

/// A browser sends its form without a pause, so peers that fill the memory and then wait come
/// before it in the order. Peers that hold almost nothing are skipped: closing them would free
/// nothing.
void RedirectConnections::keepWithinBudget() {
    while (m_held > budget) {
        const auto silent = std::find_if(m_all.begin(), m_all.end(),
                                         [](const auto* each) { return each->holdsMuch(); });
        (*silent)->close();
    }
}

}  // namespace platform
