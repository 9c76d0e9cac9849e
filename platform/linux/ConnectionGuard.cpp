#include "platform/ConnectionGuard.h"

#include "platform/linux/HttpPool.h"
#include "platform/linux/TcpState.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/prefer.hpp>
#include <boost/asio/query.hpp>
#include <boost/asio/require.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/strand.hpp>

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace platform {

using boost::asio::ip::tcp;
namespace net = boost::asio;

namespace {

/// The bytes received over the connections of a client.
struct Intake {
    explicit Intake(std::uint64_t most) : limit(most) {}

    const std::uint64_t limit;
    std::atomic<std::uint64_t> bytes{0};
};

/// One connection, checked before each of its steps: the HTTP library reads heads and chunks into
/// memory, however large they are.
class Watch {
public:
    Watch(tcp::socket& socket, std::shared_ptr<Intake> intake)
        : m_socket(socket), m_intake(std::move(intake)) {}

    void look() {
        if (!m_socket.is_open()) {
            return;
        }
        const auto state = tcpState(m_socket.native_handle());
        if (!state) {
            return;
        }
        m_intake->bytes += state->receivedBytes - std::exchange(m_received, state->receivedBytes);
        if (m_intake->bytes > m_intake->limit) {
            boost::system::error_code ignored;
            m_socket.close(ignored);
        }
    }

private:
    tcp::socket& m_socket;  // lives as long as there are steps
    const std::shared_ptr<Intake> m_intake;
    std::uint64_t m_received = 0;
};

/// The executor of a watched connection.
template <class Executor>
class Watched {
public:
    Watched(Executor executor, std::shared_ptr<Watch> watch) noexcept
        : m_executor(std::move(executor)), m_watch(std::move(watch)) {}

    template <class Function>
    void execute(Function function) const {
        m_executor.execute([watch = m_watch, function = std::move(function)]() mutable {
            watch->look();
            function();
        });
    }

    template <class Property>
    auto query(const Property& property) const noexcept
        -> std::remove_const_t<decltype(net::query(std::declval<const Executor&>(), property))> {
        return net::query(m_executor, property);
    }
    template <class Property>
    auto require(const Property& property) const -> Watched<
        std::decay_t<decltype(net::require(std::declval<const Executor&>(), property))>> {
        return {net::require(m_executor, property), m_watch};
    }
    template <class Property>
    auto prefer(const Property& property) const
        -> Watched<std::decay_t<decltype(net::prefer(std::declval<const Executor&>(), property))>> {
        return {net::prefer(m_executor, property), m_watch};
    }

    friend bool operator==(const Watched& a, const Watched& b) noexcept {
        return a.m_executor == b.m_executor && a.m_watch == b.m_watch;
    }
    friend bool operator!=(const Watched& a, const Watched& b) noexcept { return !(a == b); }

private:
    Executor m_executor;
    std::shared_ptr<Watch> m_watch;
};

}  // namespace

/// All operations on the connections go through a strand, so that they run one at a time.
struct ConnectionGuard::Impl {
    using Strand = net::strand<net::io_context::executor_type>;

    Impl(std::uint64_t limit, bool tunnels)
        : makesTunnels(tunnels), intake(std::make_shared<Intake>(limit)) {}

    /// A connection that is not open yet is put on the strand, and stays there while it is kept.
    void adopt(tcp::socket& socket) const {
        if (!socket.is_open()) {
            socket = tcp::socket(Watched<Strand>(strand, std::make_shared<Watch>(socket, intake)));
            return;
        }
        const auto state = tcpState(socket.native_handle());
        if (!state || !state->isEstablished) {
            boost::system::error_code ignored;
            socket.shutdown(tcp::socket::shutdown_both, ignored);
        }
    }

    const bool makesTunnels;
    Strand strand{httpPool().get_executor()};
    const std::shared_ptr<Intake> intake;
};

ConnectionGuard::ConnectionGuard(const web::uri& origin,
                                 web::http::client::http_client_config& config, std::uint64_t limit)
    : m_impl(std::make_shared<Impl>(
          limit, origin.scheme() == _XPLATSTR("https") && config.proxy().is_specified())) {
    using Native = web::http::client::native_handle;
    const auto plain = [impl = m_impl, host = config](Native socket) {
        impl->adopt(*static_cast<tcp::socket*>(socket));
        host.invoke_nativehandle_options(socket);
    };
    if (origin.scheme() != _XPLATSTR("https")) {
        config.set_nativehandle_options(plain);
    } else if (!m_impl->makesTunnels) {
        config.set_nativehandle_options([impl = m_impl, host = config](Native stream) {
            impl->adopt(static_cast<net::ssl::stream<tcp::socket&>*>(stream)->next_layer());
            host.invoke_nativehandle_options(stream);
        });
    } else {
        // A tunnel is a plain connection at first, and a TLS stream when it is reused.
        config.set_nativehandle_options(
            [plain, host = config,
             first = std::make_shared<std::atomic<bool>>(true)](Native handle) {
                first->exchange(false) ? plain(handle) : host.invoke_nativehandle_options(handle);
            });
    }
}

bool ConnectionGuard::noticesClosedOnes() const {
    return !m_impl->makesTunnels;
}

void ConnectionGuard::close(std::function<void()> cancel) const {
    net::post(m_impl->strand, std::move(cancel));
}

void ConnectionGuard::begin() const {
    m_impl->intake->bytes = 0;
}

bool ConnectionGuard::isFlooded() const {
    return m_impl->intake->bytes > m_impl->intake->limit;
}

}  // namespace platform
